// The ordered list and the kinds of element that it holds.
#include "support/listfile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <sstream>
#include <string>

#include "support/container.h"
#include "support/logging.h"
#include "support/owned_text.h"

namespace {

std::string contents(const ListFile& list) {
  std::string all;
  for (int i = 0; i < list.count; ++i) {
    auto* element = static_cast<Container*>(list.elements[i]);
    const bool text = list.listType != ListFile::kContainers;
    all += i ? " " : "";
    all += text                                  ? static_cast<char*>(list.elements[i])
           : element->type == Container::kString ? (*element->data.s)()
                                                 : Container::get_type_str(element->type);
  }
  return all;
}

void fill(ListFile& list, const char* texts) {
  std::istringstream words(texts);
  for (std::string word; words >> word;) list.addElement(word.c_str(), true, false);
}

TEST(ListFile, ElementsStandInTheOrderOfTheirKind) {
  const struct {
    int kind;
    unsigned char settings;
    const char *given, *want, *key;
    int index;
    const char* why;
  } rows[] = {
      {0, 0x11, "b a b", "a b", "b", 1, "each once"},
      {0, 0x11, "a B A", "A B a", "b", -1, "case counts"},
      {0, 0x11, "ab a \x80", "\x80 a ab", "ab", 2, "signed, a prefix first"},
      {0, 0x10, "b A a", "A b", "B", 1, "case is ignored"},
      {0, 0x15, "b a b A", "b a b A", "b", 0, "unsorted"},
      {0, 0x14, "b A a", "b A a", "a", 1, "unsorted, any case"},
      {0, 0x15, "b", "b", "a", -1, "none"},
      {1, 0x11, "10.0.0.10 10.0.0.9 9.9.9.9", "9.9.9.9 10.0.0.9 10.0.0.10", "10.0.0.9x", 1, "IPv4"},
      {1, 0x11, "x 0.0.0.0 y", "x", "z", 0, "no address is 0.0.0.0"},
      {2, 0x11, "1:0:0:0:0:0:0:10 1:0:0:0:0:0:0:9 ::1", "::1 1:0:0:0:0:0:0:9 1:0:0:0:0:0:0:10",
       "01:0:0:0:0:0:0:09", 1, "IPv6"},
      {3, 0x11, "b a b", "a b", "b", 1, "strings in containers"},
      {3, 0x15, "b a b", "b a b", "b", 0, "unsorted"},
      {9, 0x11, "b a", "b", "x", 0, "of an unknown kind all are equal"},
      {0, 0x11, "", "", "a", -1, "empty"}};
  for (const auto& row : rows) {
    ListFile list(nullptr, "file");
    list.listType = row.kind;
    list.settings = row.settings;
    fill(list, row.given);
    EXPECT_EQ(contents(list), row.want) << row.why;
    EXPECT_EQ(list.getIndex(row.key, false), row.index) << row.why;
    EXPECT_EQ(list.getIndex(nullptr, false), -1) << row.why;
  }
}

TEST(ListFile, AChangedOrderHoldsFromTheNextElementOn) {
  ListFile list(nullptr, "file");
  list.set_setting(ListFile::kUnsorted, true);
  fill(list, "B a");
  list.set_setting(ListFile::kUnsorted, false);
  fill(list, "C");
  EXPECT_EQ(contents(list), "B C a");
  list.set_setting(ListFile::kCaseSensitive, false);
  fill(list, "b D");
  EXPECT_EQ(contents(list), "a B C D");
}

TEST(ListFile, WhatIsRefusedStaysTheCallersAndLeavesNoTrace) {
  Container none(static_cast<Logging*>(nullptr), static_cast<Container*>(nullptr));
  ListFile list(nullptr, "file");
  list.addElement(nullptr, false, false);
  list.addElement("", true, false);
  list.addElement(nullptr, true, true);
  list.addElement(reinterpret_cast<char*>(&none), true, true);
  EXPECT_EQ(list.settings, 0x11) << "not even changed";
  EXPECT_EQ(list.listType, ListFile::kTexts);
  char* adopted = newString("a");
  list.addElement(adopted, false, false);
  EXPECT_EQ(list.elements[0], adopted);
  EXPECT_TRUE(list.get_setting(ListFile::kChanged));
  for (const bool copy : {false, true}) {
    const OwnedText refused(newString("a"));
    list.addElement(refused.get(), copy, false);
    EXPECT_EQ(list.count, 1);
  }
}

TEST(ListFile, AContainerMakesItAListOfContainers) {
  ListFile list(nullptr, "file");
  fill(list, "b a");
  void* const text = list.elements[0];
  Container three(static_cast<Logging*>(nullptr), static_cast<Container*>(nullptr));
  three.type = Container::kInteger;
  three.data.i = 3;
  const auto* key = reinterpret_cast<const char*>(&three);
  list.addElement(key, true, true);
  EXPECT_EQ(static_cast<Container*>(list.elements[0])->data.s->buffer, text) << "texts are adopted";
  three.data.i = 2;
  list.addElement(reinterpret_cast<char*>(new Container(nullptr, &three)), false, true);
  list.addElement(key, true, true);
  list.addElement(newString("c"), false, false);
  EXPECT_EQ(contents(list), "a b c Integer Integer");
  EXPECT_EQ(list.getIndex(key, true), 3);
  EXPECT_EQ(list.getIndex("c", false), 2);
  ListFile copy(nullptr, &list);
  EXPECT_EQ(contents(copy), "a b c Integer Integer");
  list.empty();
  EXPECT_EQ(list.getIndex("c", false), -1);
  EXPECT_EQ(list.elements[0], nullptr);
  copy.set_setting(ListFile::kUnsorted, true);
  for (int i = 0; i < 60; ++i) copy.addElement(key, true, true);
  for (int i = 5; i < 64; i += 3) {
    static_cast<Container*>(copy.elements[i])->type = Container::kDouble;
    static_cast<Container*>(copy.elements[i])->data.d = NAN;
  }
  copy.sort();
  EXPECT_EQ(std::set<void*>(copy.elements, copy.elements + copy.count).size(), 65U) << "all stay";
}

TEST(ListFile, DoublesWithThe65thElementAndACopyHasDefaultSettings) {
  ListFile list(nullptr, "file");
  list.set_setting(ListFile::kUnsorted, true);
  list.group = newString("mail");
  list.permission = 0640;
  list.set_m_time(1);
  for (int i = 164; i >= 100; --i) {
    EXPECT_EQ(list.capacity, 64);
    list.addElement(std::to_string(i).c_str(), true, false);
  }
  EXPECT_EQ(list.capacity, 128);
  ListFile copy(nullptr, &list);
  EXPECT_EQ(contents(copy), contents(list)) << "the elements keep their order";
  EXPECT_EQ(copy.capacity, 128);
  EXPECT_EQ(copy.settings, 0x11);
  EXPECT_EQ(std::string(copy.get_filename()) + copy.get_user() + copy.get_group(),
            "filenobodymail");
  EXPECT_TRUE(copy.get_permission() == 0640 && copy.get_m_time() == 0);
  fill(copy, "099");
  EXPECT_EQ(contents(copy).substr(0, 11), "099 100 101") << "and are sorted by the next";
  copy.empty();
  EXPECT_EQ(copy.capacity, 128) << "the slots stay";
  Logging log;
  log.debug_level = 2500;
  testing::internal::CaptureStdout();
  ListFile none(&log, static_cast<ListFile*>(nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ListFile::ListFile(ListFile *lf): lf=NULL.\n");
  fill(none, "b a");
  EXPECT_EQ(contents(none), "a b");
}

TEST(ListFile, AgreesWithASetThroughRandomAdditions) {
  const auto before = [](const std::string& a, const std::string& b) {
    return strcomp(a.c_str(), b.c_str()) < 0;
  };
  std::mt19937 random(20240307);
  ListFile list(nullptr, "file");
  std::set<std::string, decltype(before)> set(before);
  for (int step = 0; step < 3000; ++step) {
    std::string text(1 + random() % 5, 'x');
    for (char& c : text) c = "aB\x80\xff~"[random() % 5];
    EXPECT_EQ(list.getIndex(text.c_str(), false) != -1, set.count(text) == 1) << step;
    list.addElement(text.c_str(), true, false);
    set.insert(text);
  }
  std::string want;
  for (const auto& text : set) want += (want.empty() ? "" : " ") + text;
  EXPECT_EQ(contents(list), want);
}

}  // namespace
