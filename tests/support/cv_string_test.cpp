// Texts and the growable String. The orders of texts are a target in fuzz/.
#include "support/cv_string.h"
#include "support/text_helpers.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

// What a call made, as a text to compare.
const auto made = [](char* adopted) { return std::string(printable(OwnedText(adopted).get())); };

TEST(Strings, TextsAreMadeInFull) {
  char *s = newString("text"), *t = newString("");
  EXPECT_EQ(made(newString(static_cast<const char*>(nullptr))) + made(newString(nullptr, -1)), "");
  EXPECT_EQ(made(newString("abc", 2)) + made(newString("abc", 9)), "ababc");
  EXPECT_EQ(made(newString(4, nullptr, "a", nullptr, "bc")) + made(newString(0, "e")), "abc");
  EXPECT_EQ(made(newStringf("%s-%0500d", "x", 7)), "x-" + std::string(499, '0') + "7");
  addResult(&s, "more");
  EXPECT_STREQ(s, "textmore<br>\n");
  EXPECT_TRUE(growBuffer(5, s) == 5 && newBuffer(4, s) == 8);
  EXPECT_EQ(std::string(s, 9), std::string("textm\0\0\0\0", 9)) << "the rest is zero";
  delString(s, t);
}

// At the edges that lines of a log and the orders of texts do not come to.
TEST(Strings, CutsNumbersAndSearchesKeepToTheirEdges) {
  const auto until = [](auto s, int n, int p) { return made(newStringUntil(s, ')', n, p)) + "|"; };
  EXPECT_EQ(until("abc)", 3, 0) + until("abcd)", 3, 0) + until("abcd)", 3, 1), "abc|(null)|abc|");
  EXPECT_EQ(until("abc", 9, 0) + until("abc", 9, 1) + until("", 9, 1), "(null)|abc||");
  EXPECT_EQ(until(")", 0, 0) + until(nullptr, 9, 1), "|(null)|");
  long long number = 1;
  for (const char* none : {"x", "-", "", static_cast<const char*>(nullptr)})
    EXPECT_TRUE(!setSignedLongLong(none, number) && number == 1) << printable(none);
  EXPECT_TRUE(setSignedLongLong("-9223372036854775809", number) && number == LLONG_MIN);
  const char* s = "abcABC";
  EXPECT_TRUE(findString(s, "BC", 0) - s == 1 && findString(s, "CX", 0) - s == 6);
  EXPECT_TRUE(findString(s, "", 1) == s && !behindChar(s, 'c', 2) && !trim(nullptr));
}

TEST(Strings, AStringGrowsToTwiceWhatItNeeds) {
  String string;
  string.set("%031d", 1);
  EXPECT_EQ(string.capacity, 32U);
  string.set("%032d", 1);
  EXPECT_EQ(string.capacity, 66U);
  string.expand_buff(50, 2);
  EXPECT_EQ(string(), std::string(31, '0') + "1");
  String copy(&string, 1), taken(&string, 0), formatted("%d%%", 5), adopted(0, newString("x"));
  EXPECT_TRUE(copy.cmp(taken, true) == 0 && copy.capacity == 100 && taken.capacity == 100);
  EXPECT_TRUE(!string() && string.length == 0 && string.capacity == 0) << "taken over";
  copy.set_raw(string, 0);
  EXPECT_EQ(copy.length, 32U) << "nothing to take";
  adopted.set_raw(formatted, 1);
  EXPECT_EQ(adopted.capacity, 6U) << "two characters do not fit into two";
  formatted.set_raw(copy, 1);
  EXPECT_TRUE(formatted.capacity == 66 && formatted.cmp(copy(), true) == 0);
  string.set("%s", "again");
  EXPECT_TRUE(string.cmp("AGAIN", false) == 0 && string.cmp("AGAIN", true) == 1);
  string.empty();
  EXPECT_STREQ(string(), "");
}

}  // namespace
