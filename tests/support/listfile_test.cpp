// What the list owns and copies. The order of its elements is the business of the fuzz target
// `tables`.
#include "support/listfile.h"

#include <gtest/gtest.h>

#include <string>

#include "support/container.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

std::string contents(const ListFile& list) {
  std::string all;
  for (int i = 0; i < list.count; ++i) {
    const char* text = static_cast<char*>(list.elements[i]);
    if (const auto* element = static_cast<Container*>(list.elements[i]); list.listType == 3)
      text = element->type == 1 ? (*element->data.s)() : Container::get_type_str(element->type);
    all += std::string(" ") + text;
  }
  return all;
}

TEST(ListFile, ANewListHasTheseFields) {
  Logging to;
  const ListFile list(&to, static_cast<const char*>(nullptr));
  EXPECT_EQ(list.log, &to);
  EXPECT_EQ(list.filename, nullptr);
  EXPECT_EQ(list.listType, 0);
  EXPECT_EQ(list.capacity, 64);
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.elements[63], nullptr);
  EXPECT_EQ(list.m_time, 0);
  EXPECT_EQ(list.m_size, 0);
  EXPECT_EQ(list.settings, 0x11);
  EXPECT_STREQ(list.get_user(), "nobody");
  EXPECT_EQ(list.get_group(), nullptr);
  EXPECT_EQ(list.get_permission(), 0);
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
  const ListFile copy(nullptr, &list);
  EXPECT_EQ(contents(copy), contents(list));
  EXPECT_EQ(copy.settings, 0x11);
  EXPECT_EQ(copy.get_permission(), 0640);
  EXPECT_STREQ(copy.get_filename(), "file");
}

TEST(ListFile, DuplicatesStayTheCallersAndAContainerMakesItAListOfContainers) {
  ListFile list(nullptr, "file");
  list.addElement("", true, false);
  EXPECT_EQ(list.settings, 0x11) << "not even changed";
  const OwnedText text(newString("b"));
  list.addElement(text.get(), true, false);
  list.addElement(text.get(), false, false);
  for (int i : {3, 2, 3}) {
    Container number(static_cast<Logging*>(nullptr), static_cast<Container*>(nullptr));
    number.type = Container::kInteger;
    number.data.i = i;
    list.addElement(reinterpret_cast<char*>(&number), true, true);
  }
  list.addElement(newString("a"), false, false);
  EXPECT_EQ(contents(ListFile(nullptr, &list)), " a b Integer Integer");
  list.set_setting(ListFile::kUnsorted, true);
  EXPECT_EQ(list.getIndex("a", true), 0) << "any key is a text to an unsorted list";
}

}  // namespace
