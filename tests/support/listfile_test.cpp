// The ordered list and the kinds of element that it holds.
#include "support/listfile.h"
#include "support/container.h"
#include "support/text_helpers.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

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

// Kind, settings, elements and other settings (=) > how they stand, a key and its slot.
TEST(ListFile, ElementsStandInTheOrderOfTheirKind) {
  std::istringstream rows(
      "0 \x11 b a b > a b > b 1|0 \x11 a B A > A B a > b -1|0 \x11 ab a \x80 > \x80 a ab > ab 2|"
      "0 \x10 b A a > A b > B 1|0 \x15 b a b A > b a b A > b 0|0 \x14 b A a > b A a > a 1|"
      "1 \x11 10.0.0.10 10.0.0.9 9.9.9.9 > 9.9.9.9 10.0.0.9 10.0.0.10 > 10.0.0.9x 1|"
      "1 \x11 x 0.0.0.0 y > x > z 0|2 \x11 1:0:0:0:0:0:0:10 1:0:0:0:0:0:0:9 ::1 > "
      "::1 1:0:0:0:0:0:0:9 1:0:0:0:0:0:0:10 > 01:0:0:0:0:0:0:09 1|"
      "0 \x15 d A c B =\x11 b > A B b c d > c 3|0 \x10 b A C =\x11 d > A C b d > A 0|"
      "3 \x11 b a b > a b > b 1|3 \x15 b a b > b a b > b 0|9 \x11 b a > b > x 0|0 \x11 > > a -1");
  for (std::string row; std::getline(rows, row, '|');) {
    std::istringstream words(row);
    int index;
    std::string word, want;
    ListFile list(nullptr, "file");
    words >> list.listType >> list.settings;
    while (words >> word && word != ">")
      if (word[0] == '=')
        list.settings = static_cast<unsigned char>(word[1]);
      else
        list.addElement(word.c_str(), true, false);
    while (words >> word && word != ">") want += " " + word;
    words >> word >> index;
    EXPECT_EQ(contents(list), want) << row;
    EXPECT_EQ(list.getIndex(word.c_str(), false), index) << row;
  }
}

TEST(ListFile, DuplicatesStayTheCallersAndAContainerMakesItAListOfContainers) {
  ListFile list(nullptr, "file");
  list.addElement("", true, false);
  EXPECT_EQ(list.settings, 0x11) << "not even changed";
  const OwnedText text(newString("b"));
  for (int i = 0; i < 2; ++i) list.addElement(text.get(), i == 0, false);
  for (int i : {3, 2, 3}) {
    Container number(static_cast<Logging*>(nullptr), static_cast<Container*>(nullptr));
    number.type = Container::kInteger;
    number.data.i = i;
    list.addElement(reinterpret_cast<char*>(&number), true, true);
  }
  list.addElement(newString("a"), false, false);
  EXPECT_EQ(contents(ListFile(nullptr, &list)), " a b Integer Integer");
}

}  // namespace
