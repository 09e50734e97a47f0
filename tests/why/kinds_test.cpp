// What a line is: by the daemon's own account, and where it passes one over, what is missing.

#include "why/kinds.h"

#include <gtest/gtest.h>

#include "fake_time.h"
#include "test_files.h"

namespace {

using std::string;

const FakeTime clock_of_the_day(midday(2026, 11, 21));

// Of a line without its date and host.
Kind kindNow(const string& text) {
  return kindOf(("Nov 21 12:00:00 mail " + text).c_str()).kind;
}

bool counts(Kind kind) {
  return kind == Kind::kCounts || kind == Kind::kAnonymous;
}

}  // namespace

TEST(Kinds, OfRecordingsAreWhatTheDaemonMakesOfThem) {
  const string name = SAMPLES "/dovecot-2.3-default";
  const auto lines = linesOf(contentOf(name + ".log"));
  const auto expected = linesOf(contentOf(name + ".expect"));
  ASSERT_EQ(lines.size(), expected.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    const Kind kind = kindOf(lines[i].c_str()).kind;
    EXPECT_EQ(counts(kind), expected[i].starts_with("admit")) << lines[i];
    EXPECT_FALSE(isNearly(kind)) << lines[i];
  }
}

TEST(Kinds, OfLinesPassedOverNameWhatIsMissing) {
  const struct {
    Kind want;
    const char* line;
  } rows[] = {
      {Kind::kLevel, "dovecot: imap-login: Info: Login: user=<bob>, rip=192.0.2.7, lip=192.0.2.1"},
      {Kind::kLevel, "imap-login: Login: user=<bob>, rip=192.0.2.7, lip=192.0.2.1"},
      {Kind::kWords, "dovecot: imap-login: user=<bob>, rip=192.0.2.7, lip=192.0.2.1: Login"},
      {Kind::kUser, "dovecot: imap-login: Login: user=bob, rip=192.0.2.7, session=<x>"},
      {Kind::kAddress, "dovecot: imap-login: Login: user=<bob>, rip=192.0.2.7:4711, lip=192.0.2.1"},
      {Kind::kConnect, "imapd[9]: Login user=alice auth=alice host=[192.0.2.8]"},
      {Kind::kAuthenticated, "imapd[9]: Authenticated user=alice host=[192.0.2.8] mech=PLAIN"},
      {Kind::kIPv6, "dovecot: imap-login: Login: user=<b>, rip=2001:db8:1:2:3:4:5:6789, lip=::1"},
      {Kind::kIPv6, "imapd[9]: Login user=alice auth=alice nil nil nil host=[NON-IPv4], x"},
      {Kind::kOtherService, "dovecot: managesieve-login: Logged in: user=<bob>, rip=::1, lip=::1"},
      {Kind::kOtherService, "imapd: LOGIN, user=bob, ip=[::ffff:192.0.2.7], protocol=IMAP"},
      {Kind::kRefused, "dovecot: imap-login: Info: Aborted login (auth failed): user=<b>, rip=::1"},
      {Kind::kRefused, "imapd[9]: Login SYSTEM BREAK-IN ATTEMPT user=alice host=[192.0.2.8]"},
      {Kind::kServerLine, "dovecot: imap(login)<1><x>: Disconnected: Logged out in=1 out=2"},
      {Kind::kOther, "postfix/smtpd[1]: warning: imap-login: Login: user=<b>, rip=1.2.3.4, x"},
      {Kind::kOther, "exim[1]: login authenticator failed for (x) [192.0.2.7]: user=<bob>, rip="},
  };
  for (const auto& row : rows) EXPECT_EQ(kindNow(row.line), row.want) << row.line;
  EXPECT_EQ(kindOf("2026-11-21T04:05:25+00:00 mail imapd[9]: Login user=alice x").kind,
            Kind::kDate);
}
