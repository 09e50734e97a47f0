#include "daemon/login.h"

#include <gtest/gtest.h>

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
