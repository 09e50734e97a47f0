// Texts, their orders, and the growable String.
#include "support/cv_string.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/owned_text.h"

namespace {

// Calls that make a text are compared with what they should make; null shows as "(null)".
std::string made(char* adopted) {
  const OwnedText text(adopted);
  return printable(text.get());
}

// Each order as a chain that ascends from left to right, equal ones joined by '='. "" is the empty
// text and ? a null pointer.
TEST(Strings, EveryOrderAscendsAsItShould) {
  const struct {
    int (*compare)(const char*, const char*);
    const char *chain, *name;
  } rows[] = {
      {strcomp, "\x80 \xff B a a\x80 ab abc b=b \"\" ?", "strcomp"},
      {strcasecomp, "\"\" A=a b C=c ?", "strcasecomp"},
      {strlencomp, "a=z abc=xyz \"\" ?", "strlencomp"},
      {intcomp, "? \"\" -99999999999999999999 -2x 0=x=y 5=+5 10 99999999999999999999", "intcomp"},
      {longlongcomp, "? \"\" -99999999999999999999 -2x 0 5=+5 10 99999999999999999999",
       "longlongcomp"},
      {ipcomp,
       "-1.0.0.0 host=0.0.0.0 9 10.0.0.9=10.0.0.9.5 10.0.0.10 10.0.1 10.1=10.1.0.0x "
       "99999999999.0.0.1 \"\" ?",
       "ipcomp"},
      {ipv6comp,
       "0:0:0:0:0:0:0:9=00:0:0:0:0:0:0:09 0:0:0:0:0:0:0:A 0:0:0:0:0:0:0:10 0:1:0:0:0:0:0:0 "
       "1:0:0:0:0:0:0:0 \"\" ?",
       "ipv6comp"},
      {ipv6comp, "::1=::2 1.2.3.4 1.2.3.5 2:0:0:0:0:0:0=2:0:0:0:0:0:1 3:0:0:0:0:0:0:1",
       "ipv6comp as ipcomp"}};
  for (const auto& row : rows) {
    std::vector<std::pair<std::string, int>> chain;
    std::istringstream groups(row.chain);
    int rank = 0;
    for (std::string group, word; groups >> group; ++rank)
      for (std::istringstream words(group); std::getline(words, word, '=');)
        chain.emplace_back(word == "\"\"" ? "" : word, rank);
    for (const auto& [a, place_a] : chain)
      for (const auto& [b, place_b] : chain) {
        const int got = row.compare(a == "?" ? nullptr : a.c_str(), b == "?" ? nullptr : b.c_str());
        EXPECT_EQ((got > 0) - (got < 0), (place_a > place_b) - (place_a < place_b))
            << row.name << " " << a << " " << b;
      }
  }
  EXPECT_EQ(longlongcomp("x", "-5"), -1) << "a text without a number comes first";
  EXPECT_EQ(longlongcomp("-5", "x"), 1);
  EXPECT_EQ(longlongcomp("x", "y"), -1) << "the first of two";
}

TEST(Strings, TextsAreMadeInFull) {
  char* s = newString("text");
  EXPECT_EQ(made(newString(static_cast<const char*>(nullptr))) + made(newString(nullptr, -1)), "");
  EXPECT_EQ(made(newString("abc", 2)) + made(newString("abc", 9)), "ababc");
  EXPECT_EQ(made(newString(4, nullptr, "a", nullptr, "bc")) + made(newString(0, "e")), "abc");
  EXPECT_EQ(made(newStringf("%s-%0500d", "x", 7)), "x-" + std::string(499, '0') + "7");
  addResult(&s, "more");
  EXPECT_STREQ(s, "textmore<br>\n");
  EXPECT_EQ(growBuffer(5, s), 5);
  EXPECT_STREQ(s, "textm");
  EXPECT_EQ(newBuffer(4, s), 8);
  EXPECT_EQ(std::string(s, 9), std::string("textm\0\0\0\0", 9)) << "the rest is zero";
  char* t = newString("");
  delString(s, t);
  EXPECT_EQ(s, t) << "both null";
}

TEST(Strings, SearchesEndAtTheTextsEnd) {
  const char* s = "abcABC";
  EXPECT_EQ(findChar(s, 'c') - s, 2);
  EXPECT_EQ(findChar(s, 'x') - s, 6);
  const struct {
    const char* needle;
    int respect_case;
    long want;
  } rows[] = {{"BC", 1, 4}, {"BC", 0, 1}, {"bcd", 1, 6}, {"CX", 0, 6}, {"", 1, 0}, {"", 0, 0}};
  for (const auto& row : rows)
    EXPECT_EQ(findString(s, row.needle, row.respect_case) - s, row.want) << row.needle;
  EXPECT_STREQ(behindChar("a:b:c", ':', 2), "c");
  EXPECT_EQ(behindChar("a:b:c", ':', 3), nullptr);
  EXPECT_STREQ(trim(" \t\r\n\vx "), "\vx ");
  EXPECT_EQ(trim(nullptr), nullptr);
  EXPECT_TRUE(startsWith("abc", "ab") && !startsWith("ab", "abc"));
}

TEST(Strings, ATextIsCutAtTheStopWithinItsLimit) {
  const struct {
    const char* s;
    int max, partial;
    const char *want, *why;
  } rows[] = {{"abc)", 256, 0, "abc", "found"},
              {"abc", 256, 0, "(null)", "not found"},
              {"abc", 256, 1, "abc", "its end will do"},
              {")x", 9, 0, "", "at once"},
              {"", 9, 0, "(null)", "empty"},
              {"", 9, 1, "", "empty will do"},
              {"abc)", 3, 0, "abc", "right behind the limit"},
              {"abcd)", 3, 0, "(null)", "too far"},
              {"abcd)", 3, 1, "abc", "cut"},
              {"a)", 0, 0, "(null)", "no limit left"},
              {")", 0, 0, "", "but none needed"},
              {nullptr, 9, 1, "(null)", "null"}};
  for (const auto& row : rows)
    EXPECT_EQ(made(newStringUntil(row.s, ')', row.max, row.partial)), row.want) << row.why;
}

TEST(Strings, NumbersSaturate) {
  const struct {
    const char* s;
    bool want;
    long long number;
  } rows[] = {{" \t-12x", true, -12},
              {"x", false, 1},
              {"-", false, 1},
              {nullptr, false, 1},
              {"9223372036854775808", true, LLONG_MAX},
              {"-9223372036854775809", true, LLONG_MIN}};
  for (const auto& row : rows) {
    long long number = 1;
    EXPECT_EQ(setSignedLongLong(row.s, number), row.want) << printable(row.s);
    EXPECT_EQ(number, row.number) << printable(row.s);
  }
  const char* s = "-2147483649.";
  int number = 0;
  EXPECT_TRUE(readInt(s, number) && number == INT_MIN && *s == '.' && !readInt(s, number));
}

TEST(Strings, AStringGrowsToTwiceWhatItNeeds) {
  String string;
  EXPECT_EQ(string.capacity, 32U);
  string.set("%031d", 1);
  EXPECT_EQ(string.capacity, 32U);
  string.set("%032d", 1);
  EXPECT_EQ(string.capacity, 66U);
  EXPECT_STREQ(string(), (std::string(31, '0') + "1").c_str());
  string.expand_buff(50, 2);
  EXPECT_EQ(string.capacity, 100U);
  String copy(&string, 1), taken(&string, 0), formatted("%d%%", 5), adopted(0, newString("x")),
      none(0, nullptr), text(7, copy.buffer);
  EXPECT_EQ(copy.cmp(taken, true), 0) << "both hold what was there";
  EXPECT_EQ(copy.capacity * 1000 + taken.capacity, 100100U);
  EXPECT_TRUE(string() == nullptr && string.length == 0 && string.capacity == 0) << "taken over";
  copy.set_raw(string, 0);
  EXPECT_EQ(copy.length, 32U) << "nothing to take";
  EXPECT_EQ(formatted.capacity * 100 + adopted.capacity * 10 + none.capacity, 352U);
  adopted.set_raw(formatted, 1);
  EXPECT_EQ(adopted.capacity, 6U) << "two characters do not fit into two";
  EXPECT_EQ(text.capacity, 33U);
  formatted.set_raw(copy, 1);
  EXPECT_EQ(formatted.capacity, 66U);
  EXPECT_EQ(formatted.cmp(copy(), true), 0);
  string.set("%s", "again");
  EXPECT_EQ(string.capacity, 32U);
  EXPECT_TRUE(string.cmp("AGAIN", false) == 0 && string.cmp("AGAIN", true) == 1);
  copy.set_raw(string, 1);
  EXPECT_EQ(copy.cmp(string, true), 0) << "shorter than before";
  string.empty();
  EXPECT_STREQ(string(), "");
}

}  // namespace
