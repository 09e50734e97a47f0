// What the list owns and copies, and the order of its elements.
#include "support/listfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/container.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

std::vector<std::string> contents(const ListFile& list) {
  std::vector<std::string> all;
  for (int i = 0; i < list.count; ++i) {
    const char* text = static_cast<char*>(list.elements[i]);
    if (const auto* element = static_cast<Container*>(list.elements[i]); list.listType == 3)
      text = element->type == 1 ? (*element->data.s)() : Container::get_type_str(element->type);
    all.emplace_back(text);
  }
  return all;
}

TEST(ListFile, ANewListHasTheseFields) {
  const ListFile unnamed(nullptr, static_cast<const char*>(nullptr));
  const ListFile copy_of_none(nullptr, static_cast<ListFile*>(nullptr));
  for (const ListFile* list : {&unnamed, &copy_of_none}) {
    EXPECT_EQ(list->filename, nullptr);
    EXPECT_EQ(list->capacity, 64);
    EXPECT_EQ(list->settings, 0x11);
    EXPECT_STREQ(list->get_user(), "nobody");
    EXPECT_EQ(list->get_group(), nullptr);
    EXPECT_EQ(list->get_permission(), 0);
  }
}

TEST(ListFile, EveryKindStandsInItsOrderHoweverItIsFilled) {
  const struct {
    int kind;
    bool by_case;
    std::vector<std::string> order;
  } rows[] = {
      {ListFile::kTexts, true, {"10.0.0.10", "10.0.0.9", "B", "a", "b", "c"}},
      {ListFile::kTexts, false, {"10.0.0.10", "10.0.0.9", "a", "B", "c"}},
      {ListFile::kIpv4Texts, true, {"9.9.9.9", "10.0.0.9", "10.0.0.10", "10.0.1.0", "11.0.0.0"}},
      {ListFile::kIpv6Texts, true, {"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:a", "2:0:0:0:0:0:0:0"}},
      {ListFile::kContainers, true, {"10.0.0.10", "10.0.0.9", "B", "a", "b"}},
  };
  for (const auto& row : rows)
    for (const char* way : {"one by one", "gathered", "sorted at last"}) {
      std::vector<std::string> given = row.order;
      do {
        ListFile list(nullptr, "file");
        if (row.kind == ListFile::kContainers) list.set_to_Container_type();
        list.listType = row.kind;
        list.set_setting(ListFile::kCaseSensitive, row.by_case);
        list.gather(way[0] == 'g');
        list.set_setting(ListFile::kUnsorted, way[0] == 's');
        for (const std::string& text : given) list.addElement(text.c_str(), true, false);
        list.gather(false);
        if (way[0] == 's') list.sort();
        list.set_setting(ListFile::kUnsorted, false);
        list.addElement(given[0].c_str(), true, false);  // has it already
        EXPECT_EQ(contents(list), row.order) << row.kind << " " << way << ", first " << given[0];
        for (int i = 0; i < list.count; ++i)
          EXPECT_EQ(list.getIndex(row.order[static_cast<size_t>(i)].c_str(), false), i) << row.kind;
        EXPECT_EQ(list.getIndex("0.0.0.1", false), -1) << row.kind;
      } while (std::ranges::next_permutation(given).found);
    }
}

TEST(ListFile, AnUnsortedListKeepsWhatItIsGivenAndItsCopyTheOrder) {
  ListFile list(nullptr, "file");
  list.set_setting(ListFile::kUnsorted, true);
  for (int i = 0; i < 100; ++i) list.addElement(std::to_string(200 - i % 50).c_str(), true, false);
  EXPECT_EQ(list.count, 100);
  EXPECT_EQ(list.capacity, 128);
  EXPECT_EQ(list.getIndex("199", false), 1) << "the first of two";
  EXPECT_EQ(list.getIndex("1", false), -1);
  EXPECT_EQ(list.getIndex(nullptr, false), -1);
  list.permission = 0640;
  list.group = newString("mail");
  const ListFile copy(nullptr, &list);
  EXPECT_EQ(contents(copy), contents(list));
  EXPECT_EQ(copy.settings, 0x11);
  EXPECT_EQ(copy.get_permission(), 0640);
  EXPECT_STREQ(copy.get_user(), "nobody");
  EXPECT_STREQ(copy.get_group(), "mail");
  EXPECT_STREQ(copy.get_filename(), "file");
}

TEST(ListFile, DuplicatesStayTheCallersAndAContainerMakesItAListOfContainers) {
  ListFile list(nullptr, "file");
  list.addElement("", true, false);
  EXPECT_EQ(list.settings, 0x11) << "not even changed";
  const OwnedText text(newString("b"));
  for (const char* copied : {"b", "c"}) list.addElement(copied, true, false);
  list.addElement(text.get(), false, false);
  for (int i : {3, 2, 3}) {
    Container number(static_cast<Logging*>(nullptr), static_cast<Container*>(nullptr));
    number.type = Container::kInteger;
    number.data.i = i;
    list.addElement(reinterpret_cast<char*>(&number), true, true);
  }
  list.addElement(newString("a"), false, false);
  EXPECT_EQ(list.settings, 0x13) << "changed";
  const std::vector<std::string> want = {"a", "b", "c", "Integer", "Integer"};
  EXPECT_EQ(contents(ListFile(nullptr, &list)), want);
  list.set_setting(ListFile::kUnsorted, true);
  EXPECT_EQ(list.getIndex("a", true), 0) << "any key is a text to an unsorted list";
  list.set_setting(ListFile::kCaseSensitive, false);
  EXPECT_EQ(list.getIndex("A", false), 0);
}

}  // namespace
