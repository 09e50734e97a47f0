#include "daemon/login.h"

#include <gtest/gtest.h>

#include <string>

#include "daemon/state.h"
#include "fake_time.h"
#include "test_files.h"

namespace {

tm localNow() {
  const time_t now = time(nullptr);
  return *localtime(&now);
}

std::string stampOf(time_t when) {
  char stamp[32];
  strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", localtime(&when));
  return stamp;
}

std::string admitted() {
  std::string text;
  for (long long i = 0; i < host_list.param; ++i)
    text += std::string(host_list.getNameAt(i)) + "=" + host_list.getValueAt(i) + ";";
  host_list.empty();
  user_list.empty();
  process_ips.empty();
  return text;
}

std::string dovecotLine(time_t when, const std::string& user, const std::string& address) {
  return stampOf(when) + " mail dovecot: imap-login: Login: user=<" + user + ">, rip=" + address +
         ", lip=192.0.2.1";
}

// Runs `call` in standalone mode and returns what it printed.
template <typename Call>
std::string printedBy(Call call) {
  is_daemon = 0;
  testing::internal::CaptureStdout();
  call();
  is_daemon = 1;
  return testing::internal::GetCapturedStdout();
}

}  // namespace

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
  FakeTime clock(midday(2028, 2, 29));  // a leap year
  tm fields = {};
  fields.tm_year = 128;
  const struct {
    const char* line;
    int month, day, hour, minute, second;
    const char* why;
  } rows[] = {{"Feb 29 04:40:51 mail x", 1, 29, 4, 40, 51, "plain"},
              {"Jan  3 00:00:00 mail x", 0, 3, 0, 0, 0, "a one-digit day"},
              {"Dec 31 23:59:59", 11, 31, 23, 59, 59, "almost a year ahead"},
              {" \tMar\v1\f2:3:4", 2, 1, 2, 3, 4, "white space of any kind, no leading zeros"},
              {"Jul 14 12:00:00 mail x", 6, 14, 12, 0, 0, "summer, by the winter clock"},
              {"Feb 30 25:61:61", 1, 30, 25, 61, 61, "beyond their ranges: normalised"},
              {"Feb 0 -1:+5:007", 1, 0, -1, 5, 7, "signs"}};
  for (const auto& row : rows) {
    fields.tm_mon = row.month;
    fields.tm_mday = row.day;
    fields.tm_hour = row.hour;
    fields.tm_min = row.minute;
    fields.tm_sec = row.second;
    tm copy = fields;
    EXPECT_EQ(getTimeFromString(row.line), timegm(&copy) - localNow().tm_gmtoff) << row.why;
  }
}

TEST(Login, AnUnreadableStampIsZeroAndSaysSo) {
  newActivity();
  const std::string long_word(40, 'J');
  const struct {
    std::string line;
    std::string message;
  } rows[] = {
      {"Nov 21 04:40", "Error reading't reading all of the value from the date: Nov 21 04:40"},
      {"Nov 21 04-40-51",
       "Error reading't reading all of the value from the date: Nov 21 04-40-51"},
      {"%s %n", "Error reading't reading all of the value from the date: %s %n"},
      {"", "Error reading't reading all of the value from the date: "},
      {"nov 21 04:40:51", "Unable to parse the date"},
      {"November 21 04:40:51", "Unable to parse the date"},
      {"No 21 04:40:51", "Unable to parse the date"},
      {long_word + " 21 04:40:51", "Unable to parse the date"}};
  for (const auto& row : rows) {
    EXPECT_EQ(getTimeFromString(row.line.c_str()), 0) << row.line;
    EXPECT_EQ(newActivity(), std::vector{row.message}) << row.line;
  }
  FakeTime clock(midday(2026, 6, 1));
  EXPECT_GE(getTimeFromString("Jun 1 99999999999:0:0"), midday(2026, 6, 1)) << "does not wrap";
}

// The calendar that a scan holds must not differ from the plain way by a second: on days whose
// clock changes, by either clock, and after the zone's clock has changed during the scan.
TEST(Login, AHeldCalendarGivesTheSameTimes) {
  for (const time_t now : {midday(2026, 1, 15), midday(2026, 7, 15)}) {
    FakeTime clock(now);
    for (int day = 0; day < 365; ++day) {
      const time_t start = midday(2026, 1, 1) + day * 86400;
      for (const int minutes_on : {0, 11 * 60 + 30, 14 * 60 + 45, 15 * 60, 16 * 60 + 20}) {
        const std::string stamp = stampOf(start + minutes_on * 60);
        holdCalendar(false);
        const long plain = getTimeFromString(stamp.c_str());
        holdCalendar(true);
        clock.set(now == midday(2026, 1, 15) ? midday(2026, 7, 15) : midday(2026, 1, 15));
        getTimeFromString(stamp.c_str());
        clock.set(now);
        ASSERT_EQ(getTimeFromString(stamp.c_str()), plain) << stamp;
      }
    }
  }
  holdCalendar(false);
}

// Where a zone moved by law, no flag of the date says by which clock its hours count.
TEST(Login, AHeldCalendarGivesTheSameTimesOnTheDayAZoneMoved) {
  const std::string before = getenv("TZ") ? getenv("TZ") : "";
  for (const auto& [zone, year, month, day] : {std::tuple{"Asia/Novosibirsk", 2016, 7, 24},
                                               {"America/Caracas", 2016, 5, 1},
                                               {"Asia/Pyongyang", 2018, 5, 4}}) {
    setenv("TZ", zone, 1);
    tzset();
    FakeTime clock(midday(year, month, day));
    for (int half_hours = 0; half_hours < 48; ++half_hours) {
      char stamp[32];
      snprintf(stamp, sizeof stamp, "%s %d %d:%d:59", months[month - 1], day, half_hours / 2,
               half_hours % 2 * 30 + 29);
      holdCalendar(false);
      const long plain = getTimeFromString(stamp);
      holdCalendar(true);
      EXPECT_EQ(getTimeFromString(stamp), plain) << zone << " " << stamp;
    }
  }
  holdCalendar(false);
  setenv("TZ", before.c_str(), 1);
  tzset();
}

TEST(Login, ALoginIsFreshForExactlyItsLifetime) {
  const time_t now = midday(2026, 11, 21);
  FakeTime clock(now);
  const struct {
    int lifetime;
    time_t when;
    bool admits;
    const char* why;
  } rows[] = {{30, now, true, "just now"},
              {30, now - 1800, true, "exactly thirty minutes"},
              {30, now - 1801, false, "a second more"},
              {30, now + 3600, true, "in the future"},
              {0, now, true, "no lifetime: this second"},
              {0, now - 1, false, "no lifetime: the second before"},
              {35791395, now, false, "lifetimes beyond an int of seconds wrap below zero"},
              {71582789, now - 60, false, "and round again"}};
  for (const auto& row : rows) {
    minutes = row.lifetime;
    add_dovecot(dovecotLine(row.when, "bob", "192.0.2.7").c_str());
    EXPECT_EQ(admitted(),
              row.admits ? "192.0.2.7=" + std::to_string(static_cast<int>(row.when)) + ";" : "")
        << row.why;
    process_ips.setParam("5", "192.0.2.7", true, 1, false);
    verifyPid(5, (stampOf(row.when) + " mail vm-pop3d[5]: User 'bob'").c_str(), 0);
    EXPECT_EQ(admitted(),
              row.admits ? "192.0.2.7=" + std::to_string(static_cast<int>(row.when)) + ";" : "")
        << row.why;
  }
  minutes = 30;
}

TEST(Login, ADecemberLineReadInJanuaryIsAlmostAYearAhead) {
  const time_t new_year = midday(2027, 1, 1) - 12 * 3600 + 5;  // five seconds into the year
  FakeTime clock(new_year);
  add_dovecot(dovecotLine(new_year - 10, "bob", "192.0.2.7").c_str());
  EXPECT_EQ(admitted(), "192.0.2.7=" + std::to_string(new_year - 10 + 365 * 86400) + ";");
}

TEST(Login, FieldsMustEndWithinTheirLimits) {
  const time_t now = time(nullptr);
  const struct {
    size_t length;
    bool dovecot_name, classic_name;
  } names[] = {{100, true, true}, {101, true, false}, {256, true, false}, {257, false, false}};
  for (const auto& row : names) {
    const std::string name(row.length, 'n');
    add_dovecot(dovecotLine(now, name, "192.0.2.7").c_str());
    EXPECT_EQ(admitted() != "", row.dovecot_name) << row.length;
    const std::string head = stampOf(now) + " mail vm-pop3d[5]: ";
    for (const std::string& message :
         {"Login user=" + name + " ", "User '" + name + "'", "User 'x' of '" + name + "'"}) {
      process_ips.setParam("5", "192.0.2.7", true, 1, false);
      verifyPid(5, (head + message).c_str(), message[0] == 'L');
      EXPECT_EQ(admitted() != "", row.classic_name) << message;
    }
  }
  // Addresses: 20 characters for Dovecot, 16 on a classic line.
  for (const auto& [address, dovecot, classic] : {std::tuple{"192.000000002.07", true, true},
                                                  {"192.0000000002.07", true, false},
                                                  {"192.0.2.7.0000000000", true, false},
                                                  {"192.0.2.7.00000000000", false, false}}) {
    add_dovecot(dovecotLine(now, "bob", address).c_str());
    EXPECT_EQ(admitted() != "", dovecot && isIP(address)) << address;
    verifyPid(5, (stampOf(now) + " mail imapd[5]: Login user=x b c d " + address + ",").c_str(), 1);
    EXPECT_EQ(admitted() != "", classic && isIP(address)) << address;
  }
}

TEST(Login, TheLatestLoginOfAnAddressCounts) {
  const time_t now = midday(2026, 11, 21);
  FakeTime clock(now);
  add_dovecot(dovecotLine(now, "bob", "192.0.2.7").c_str());
  add_dovecot(dovecotLine(now - 60, "carol", "192.0.2.7").c_str());
  EXPECT_STREQ(user_list.getValue("192.0.2.7"), "carol");
  EXPECT_EQ(admitted(), "192.0.2.7=" + std::to_string(now - 60) + ";");
}

TEST(Login, StandaloneModeSaysWhatBecomesOfALogin) {
  const time_t now = midday(2026, 11, 21);
  FakeTime clock(now);
  const std::string seconds = std::to_string(now);
  const std::string old_line = dovecotLine(now - 1801, "bob", "192.0.2.7");
  const time_t then = now - 1801;
  const std::string now_text = ctime(&now);
  const std::string then_text = ctime(&then);
  EXPECT_EQ(printedBy([&] { add_dovecot(old_line.c_str()); }),
            "DENIED: " + old_line + "\nnow: " + seconds + " " + now_text +
                "then: " + std::to_string(then) + " " + then_text);
  EXPECT_EQ(printedBy([&] { add_dovecot(dovecotLine(now, "bob", "192.0.2.7").c_str()); }),
            "Adding bob 192.0.2.7\n");
  EXPECT_EQ(printedBy([&] { add_dovecot(dovecotLine(now, "bob", "::1").c_str()); }),
            "Adding bob ::1\n'::1' is not an IP, thus not adding it to the list\n");
  EXPECT_EQ(printedBy([&] { add_dovecot(dovecotLine(now, "bob", "127.0.0.1").c_str()); }),
            "Ignoring 127.0.0.1 for bob\n");
  admitted();

  const std::string head = stampOf(now) + " mail imapd[5]: Login user=";
  const auto imap = [&](const char* rest) { verifyPid(5, (head + rest).c_str(), 1); };
  EXPECT_EQ(printedBy([&] { imap("bob b c d 192.0.2.7, x"); }),
            "ptr: 192.0.2.7, x, ip: 192.0.2.7\nsetting: 192.0.2.7=" + seconds +
                " for pid 5 (5) user: bob\n");
  EXPECT_EQ(printedBy([&] { imap(" x"); }),
            "setting: 192.0.2.7=" + seconds + " for pid 5 (5) user: bob\n");
  admitted();
  EXPECT_EQ(printedBy([&] { imap("bob b c d 127.0.0.1, x"); }),
            "ptr: 127.0.0.1, x, ip: 127.0.0.1\nIgnoring 127.0.0.1=" + seconds +
                " for pid 5 (5) user: (null)\n");
  admitted();
  EXPECT_EQ(printedBy([&] { imap("bob b c d nowhere to be found"); }),
            "ptr: nowhere to be found, ip: (null)\n"
            "'' is not an IP, thus not adding it to the list\n");
  EXPECT_EQ(admitted(), "");
}
