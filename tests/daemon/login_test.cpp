#include "daemon/login.h"

#include <gtest/gtest.h>

#include <utility>

#include "fake_time.h"

TEST(Login, AnAddressIsFourNumbersUpTo255) {
  // What follows the fourth number is not looked at, as long as it is digits and dots.
  for (const char* text :
       {"192.0.2.7", "1.0.0.0", "255.255.255.255", "010.001.000.009", "1.2.3.4.5", "10.0.0.1."})
    EXPECT_EQ(isIP(text), 1) << text;
  for (const char* text :
       {"0.1.2.3", "256.2.3.4", "1.256.3.4", "1.2.256.4", "1.2.3.256", "4294967297.2.3.4",
        "1.2.3.99999999999999999999", "1.2.3", "1..3.4", ".1.2.3.4", "1234", "....", "::1",
        "::ffff:192.0.2.7", " 1.2.3.4", "1.2.3.4 ", "1.2.3.+4", "1.2.3.4\xb2", ""})
    EXPECT_EQ(isIP(text), 0) << text;
  EXPECT_EQ(isIP(nullptr), 0);
}

TEST(Login, AStampIsOfThisYearByTodaysClock) {
  const time_t now = midday(2028, 2, 29);  // a leap year, in winter
  FakeTime clock(now);
  const time_t midnight = now - 12 * 3600;
  const std::pair<const char*, time_t> rows[] = {
      {"Feb 29 04:40:51 mail x", midnight + 4 * 3600 + 40 * 60 + 51},
      {"Jan  3 00:00:00 mail x", midnight - 57 * 86400},
      {"Dec 31 23:59:59", midnight + 307 * 86400 - 1},
      {" \tMar\v1\f2:3:4", midnight + 86400 + 2 * 3600 + 3 * 60 + 4},
      {"Jul 14 12:00:00 summer, by the winter clock", now + 136 * 86400},
      {"Feb 30 25:61:61 normalised", midnight + 86400 + 25 * 3600 + 61 * 60 + 61},
      {"Feb 0 -1:+5:007 signs", midnight - 29 * 86400 - 3600 + 5 * 60 + 7}};
  for (const auto& [line, when] : rows) EXPECT_EQ(getTimeFromString(line), when) << line;
  EXPECT_GE(getTimeFromString("Feb 29 99999999999:0:0"), now) << "does not wrap";
}
