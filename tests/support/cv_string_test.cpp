// Texts, the orders of texts, and the growable String.
#include "support/cv_string.h"

#include <gtest/gtest.h>

#include "support/text_helpers.h"

namespace {

// What a call made, as a text to compare.
std::string made(char* adopted) {
  return printable(OwnedText(adopted).get());
}

const char* const kNone = nullptr;

// Each text comes before all that follow it.
void climb(int (*compare)(const char*, const char*), const std::vector<const char*>& ladder) {
  for (size_t i = 0; i < ladder.size(); ++i)
    for (size_t k = 0; k < ladder.size(); ++k) {
      const int order = compare(ladder[i], ladder[k]);
      EXPECT_EQ((order > 0) - (order < 0), i < k ? -1 : i > k)
          << printable(ladder[i]) << " beside " << printable(ladder[k]);
    }
}

}  // namespace

TEST(Orders, PutTextsOnLadders) {
  climb(strcomp, {"\x80", "\xff", "0", "A", "a", "a0", "ab", "b", "", kNone});
  climb(strcasecomp, {"", "a", "B", "c", kNone});
  climb(strlencomp, {"b", "ab", "aaa", "", kNone});
  climb(intcomp, {kNone, "", "-9223372036854775808", "-5", "x", "7", "10", "9223372036854775808"});
  climb(longlongcomp, {kNone, "", "-9223372036854775809", "-9223372036854775807", "-5", "0", " +7",
                       "8x", "10", "1234567890123456789", "9223372036854775806"});
  climb(ipcomp, {"x", "0.0.0.9", "0.0.0.10", "0.0.1", "0.2", "1x9", "1.2.3.4:5", "2147483646",
                 "99999999999", "", kNone});
  climb(ipv6comp, {"0:0:0:0:0:0:0:9", "0:0:0:0:0:0:0:a", "0:0:0:0:0:0:0:F", "0:0:0:0:0:0:1:0",
                   "1:0:0:0:0:0:0:0", "ffff:0:0:0:0:0:0:0", "", kNone});
  EXPECT_EQ(strlencomp("a", "b"), 0);
  EXPECT_EQ(ipcomp("1.2.3.4", "1.2.3.4.5"), 0);
  EXPECT_EQ(ipv6comp("9:0:0:0:0:0:0:0", "10.0.0.0"), -1) << "as IPv4 if one is no IPv6 address";
  EXPECT_EQ(ipv6comp("0:0:0:0:0:0:0:g", "0:0:0:0:0:0:0:1"), 0) << "no hexadecimal digit: as IPv4";
  long long left_alone = 1;
  for (const char* none : {kNone, "", "-", "x"})
    EXPECT_FALSE(setSignedLongLong(none, left_alone)) << printable(none);
  EXPECT_EQ(left_alone, 1);
  for (const char* number : {"y", "0", "-5"})
    EXPECT_EQ(longlongcomp("x", number), -1) << "no number comes first, beside " << number;
  EXPECT_EQ(longlongcomp("-5", "x"), 1);
}

TEST(Strings, TextsAreMadeInFullAndCut) {
  const std::pair<std::string, std::string> rows[] = {
      {made(newString(kNone)), ""},
      {made(newString("abc", -1)), ""},
      {made(newString("abc", 2)), "ab"},
      {made(newString(4, "the first piece", nullptr, ", the ", "last")),
       "the first piece, the last"},
      {made(newStringf("%0256d", 7)), std::string(255, '0') + "7"},
      {made(copyWherePresent(nullptr)), "(null)"},
      {made(newStringUntil("abc)", ')', 3, 0)), "abc"},
      {made(newStringUntil("abcd)", ')', 3, 0)), "(null)"},
      {made(newStringUntil("abcd)", ')', 3, 1)), "abc"},
      {made(newStringUntil("abc", ')', 9, 1)), "abc"},
      {made(newStringUntil(nullptr, ')', 9, 1)), "(null)"},
      {findString("abcABC", "BC", 0), "bcABC"},
      {findString("abcABC", "BC", 1), "BC"},
      {findString("abcABC", "CX", 0), ""},
      {printable(behindChar("abcABC", 'c', 2)), "(null)"},
      {trim(" \t\r\nx "), "x "}};
  for (const auto& [got, want] : rows) EXPECT_EQ(got, want);
  char *s = newString("text"), *t = newString("");
  addResult(&s, "more");
  EXPECT_STREQ(s, "textmore<br>\n");
  EXPECT_EQ(growBuffer(5, s), 5);
  EXPECT_EQ(newBuffer(4, s), 8);
  EXPECT_EQ(std::string(s, 9), std::string("textm\0\0\0\0", 9)) << "the rest is zero";
  delString(s, t);
  EXPECT_EQ(s, nullptr);
}

TEST(Strings, AStringGrowsToTwiceWhatItNeedsAndIsTakenOverWhole) {
  String string;
  string.set("%031d", 1);
  EXPECT_EQ(string.capacity, 32U);
  string.empty();
  EXPECT_STREQ(string(), "");
  string.set("%032d", 1);
  EXPECT_EQ(string.capacity, 66U);
  EXPECT_EQ(String(1, string.buffer).capacity, 33U);
  String copy(&string, 1), taken(&string, 0), formatted("%d%%", 5), adopted(0, newString("x"));
  EXPECT_EQ(formatted.capacity, 3U);
  EXPECT_EQ(adopted.capacity, 2U);
  EXPECT_EQ(copy.cmp(taken, true), 0);
  EXPECT_EQ(copy.capacity, 66U);
  EXPECT_EQ(string(), nullptr) << "taken over";
  EXPECT_EQ(string.capacity, 0U);
  EXPECT_EQ(string.length, 0U);
  EXPECT_STREQ(String(&string, 0)(), "") << "nothing is left to take";
  EXPECT_EQ(taken.length, 32U);
  EXPECT_EQ(copy.length, 32U);
  string.set("%s", "again");
  EXPECT_STREQ(string(), "again");
  EXPECT_EQ(string.capacity, 32U);
  taken.set_raw(adopted, 1);
  EXPECT_STREQ(taken(), "x") << "nothing of the longer text";
  adopted.set_raw(formatted, 1);
  EXPECT_EQ(adopted.capacity, 6U) << "two characters do not fit into two";
  EXPECT_STREQ(adopted(), "5%");
}
