#include "why/verdict.h"

#include <ctime>

#include "daemon/paths.h"
#include "daemon/state.h"
#include "why/mail_server.h"

namespace {

using std::string;

constexpr int kGood = 0;
constexpr int kBad = 1;
constexpr int kUnknown = 2;
constexpr long kTwoLooks_s = 4;  // two looks of the daemon: a newer login need not be listed yet

int lifetimeOf(const SetUp& set_up) {
  minutes = set_up.minutes;
  return lifetime_s();
}

string timeOf(const Latest& latest) {
  if (latest.when == 0) return shown(latest.line.substr(0, latest.line.find(' ')));
  return clockTime(latest.when);
}

string whoOf(const Latest& latest) {
  string who;
  if (!latest.user.empty()) who += " of " + shown(latest.user);
  if (!latest.address.empty()) who += " from " + shown(latest.address);
  return who;
}

void reportKind(Report& report, Kind kind, const Latest& latest) {
  const KindText& text = textOf(kind);
  const string finding = formatted("%lld x %s, the latest at %s%s: %s", latest.times, text.what,
                                   timeOf(latest).c_str(), whoOf(latest).c_str(), text.remedy);
  report.say(text.wrong ? Found::kWrong : Found::kNote, "%s", finding.c_str());
  if (latest.address.empty()) report.quote(latest.line);
}

// Reports whether the host file has the addresses that it should have by the log.
void judgeListed(Report& report, const SetUp& set_up, const Survey& survey, const Listed& listed) {
  if (listed.written == 0) return;
  report.say(Found::kNote, "%s listed in %s: %lld, unchanged since %s",
             survey.lines == 0 && listed.hosts > 0 ? "old hosts" : "hosts", kHostFile, listed.hosts,
             clockTime(listed.written).c_str());
  if (!set_up.follows || !survey.has_all_authorized) return;
  const long long now = time(nullptr);
  for (const auto& [address, when] : survey.authorized) {
    if (when <= now - kTwoLooks_s && listed.written < now - kTwoLooks_s) {
      report.say(Found::kWrong,
                 "%s logged in at %s and is not in %s: see /var/log/corvane/cv-popb4smtp.log, "
                 "and restart the daemon",
                 shown(address).c_str(), clockTime(when).c_str(), kHostFile);
      return;
    }
  }
}

// Why a login that counts has expired, or is not listed yet.
string reasonOf(const SetUp& set_up, const Latest& login, long long over) {
  const long long now = time(nullptr);
  if (over < now)
    return formatted(
        "last login at %s, over at %s (t %d): connections that stay open do not count as "
        "new logins; have the client look for mail anew",
        clockTime(login.when).c_str(), clockTime(over).c_str(), set_up.minutes);
  if (!set_up.running)
    return formatted("logged in at %s, but the daemon is not running: systemctl start cv-popb4smtp",
                     clockTime(login.when).c_str());
  if (login.when > now - kTwoLooks_s) return "logged in just now: look again in two seconds";
  return formatted(
      "logged in at %s, but is not listed: a login in the same second as another line counts "
      "with the next line, within five minutes; else: does the daemon follow this log? See "
      "/var/log/corvane/cv-popb4smtp.log",
      clockTime(login.when).c_str());
}

string reasonOf(const Latest& other) {
  const KindText& text = textOf(other.kind);
  return formatted("%s at %s%s: %s", text.what, timeOf(other).c_str(), whoOf(other).c_str(),
                   text.remedy);
}

// Until when the subject stays listed, as far as we know.
string untilOf(const SetUp& set_up, const Latest& login, const Listed& listed, int lifetime) {
  const long long now = time(nullptr);
  const bool is_young = login.when != 0 && login.when + lifetime >= now;
  const string over = clockTime(login.when + lifetime);
  if (!set_up.running)
    return is_young ? "until " + over + ", and as long as the daemon is not running"
                    : "as long as the daemon is not running";
  if (is_young) return "until " + over;
  if (login.when != 0) return "until the log is written next: over at " + over;
  return formatted("until %s at the latest (its login is not in the log as it is now)",
                   clockTime(listed.written + lifetime).c_str());
}

}  // namespace

int judgeAll(Report& report, const SetUp& set_up, const Survey& survey, const Listed& listed) {
  for (int i = static_cast<int>(Kind::kCounts); i < kKinds; ++i)
    if (survey.kinds[i].times > 0) reportKind(report, static_cast<Kind>(i), survey.kinds[i]);
  judgeListed(report, set_up, survey, listed);
  if (report.count(Found::kWrong) > 0) {
    report.conclude(false, formatted("%d wrong: see above", report.count(Found::kWrong)));
    return kBad;
  }
  if (report.count(Found::kUnknown) > 0) {
    report.conclude(false, "nothing wrong was seen, but not all could be looked at");
    return kUnknown;
  }
  report.conclude(true, "nothing is wrong");
  return kGood;
}

int judgeSubject(Report& report, const SetUp& set_up, const Subject& subject, bool has_log,
                 const Survey& survey, const Listed& listed) {
  const int lifetime = lifetimeOf(set_up);
  const string who = shown(subject.text());
  const Latest& counted = survey.counted;
  const Latest& other = survey.other;
  const bool other_is_later = other.times > 0 && (counted.times == 0 || other.when > counted.when);
  if (other_is_later && other.address.empty()) report.quote(other.line);

  if (listed.subject && listed.barred.empty()) {
    if (other_is_later) report.say(Found::kNote, "%s", reasonOf(other).c_str());
    const string address = shown(listed.address);
    askMailServers(report, address);
    const string until = untilOf(set_up, counted, listed, lifetime);
    const string user = shown(counted.times > 0 ? counted.user : listed.user);
    const string how =
        subject.isAddress() ? until + ", as " + user : "from " + address + " " + until;
    report.conclude(true, who + " may relay " + how);
    return kGood;
  }
  if (!listed.subject && (!has_log || !listed.known)) {
    report.conclude(false, who + ": could not find out; run this as root");
    return kUnknown;
  }
  string reason = "no login of it in " + shown(set_up.mail_log) +
                  ": has the client looked for mail, on this server?";
  const long long over = counted.when + lifetime;
  if (listed.subject)
    reason = "it is listed, but " + listed.barred;
  else if (counted.times > 0 && (!other_is_later || over >= time(nullptr)))
    reason = reasonOf(set_up, counted, over);
  else if (other.times > 0)
    reason = reasonOf(other);
  else if (report.count(Found::kWrong) > 0)
    reason = report.firstWrong();
  report.conclude(false, who + " may not: " + reason);
  return kBad;
}
