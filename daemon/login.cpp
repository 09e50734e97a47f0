#include "daemon/login.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "daemon/activity_log.h"
#include "daemon/last_login.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/owned_text.h"

namespace {

constexpr int kLongestClassicName = 100;
constexpr int kLongestDovecotName = 256;
constexpr int kLongestClassicAddress = 16;
constexpr int kLongestDovecotAddress = 20;
constexpr char kLoopback[] = "127.0.0.1";

// --- Dates ---

struct Stamp {
  int month = 0;  // 0 to 11
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

// The month of this name, -1 if there is none.
int monthNumber(const char* word, size_t length) {
  static int latest = 0;  // a log stays in its month for long
  constexpr size_t kLetters = 3;
  if (length != kLetters) return -1;
  if (startsWith(word, {months[latest], kLetters})) return latest;
  for (int i = 0; months[i]; ++i)
    if (startsWith(word, {months[i], kLetters})) return latest = i;
  return -1;
}

bool readTwoDigits(const char* s, int& number) {
  if (!isDigit(s[0]) || !isDigit(s[1])) return false;
  number = 10 * (s[0] - '0') + (s[1] - '0');
  return true;
}

// The words of "Mon DD HH:MM:SS" in the very columns that syslog puts them in. Half of a large log
// may have to be dated, and the general way below takes several times as long.
bool readStampInColumns(const char* line, Stamp& stamp) {
  stamp.month = monthNumber(line, 3);
  if (stamp.month == -1 || line[3] != ' ') return false;
  if (line[4] == ' ' && isDigit(line[5]))
    stamp.day = line[5] - '0';
  else if (!readTwoDigits(line + 4, stamp.day))
    return false;
  return line[6] == ' ' && readTwoDigits(line + 7, stamp.hour) && line[9] == ':' &&
         readTwoDigits(line + 10, stamp.minute) && line[12] == ':' &&
         readTwoDigits(line + 13, stamp.second) && !isDigit(line[15]);
}

// The same words as scanf("%s %d %d:%d:%d") reads them. The month becomes -1 if there is none of
// that name.
bool readStamp(const char* line, Stamp& stamp) {
  const char* month = line;
  while (isWhiteSpace(*month)) ++month;
  const char* p = month;
  while (*p != '\0' && !isWhiteSpace(*p)) ++p;
  stamp.month = monthNumber(month, static_cast<size_t>(p - month));
  return p > month && readInt(p, stamp.day) && readInt(p, stamp.hour) && *p++ == ':' &&
         readInt(p, stamp.minute) && *p++ == ':' && readInt(p, stamp.second);
}

// Turns stamps into times. mktime() and localtime() look at the time zone file at every call,
// which a scan of millions of lines cannot afford: within one, each day is worked out once.
class Calendar {
 public:
  void hold(bool on) {
    held_ = on;
    now_ = -1;
    forgetDays();
  }

  time_t timeOf(const Stamp& stamp) {
    lookUpToday();
    if (!held_ || !isOrdinary(stamp)) return convert(stamp);
    Day& day = days_[stamp.month][stamp.day];
    if (day.kind == Day::kUnknown) day = workOut(stamp.month, stamp.day);
    if (day.kind == Day::kChangesClock) return convert(stamp);
    return day.start + secondsOf(stamp);
  }

 private:
  struct Day {
    enum { kUnknown, kUniform, kChangesClock } kind = kUnknown;
    time_t start = 0;
  };

  static bool isOrdinary(const Stamp& stamp) {
    return stamp.day >= 1 && stamp.day <= 31 && stamp.hour >= 0 && stamp.hour < 24 &&
           stamp.minute >= 0 && stamp.minute < 60 && stamp.second >= 0 && stamp.second < 60;
  }

  static time_t secondsOf(const Stamp& stamp) {
    return (stamp.hour * 60 + stamp.minute) * 60 + stamp.second;
  }

  void lookUpToday() {
    const time_t now = time(nullptr);
    if (held_ && now == now_) return;
    const tm found = *localtime(&now);
    if (found.tm_year != today_.tm_year || found.tm_isdst != today_.tm_isdst ||
        found.tm_gmtoff != today_.tm_gmtoff)
      forgetDays();
    today_ = found;
    now_ = now;
  }

  // Year and daylight-saving flag are those of now: the line has neither.
  time_t convert(const Stamp& stamp) const {
    tm date = today_;
    date.tm_mon = stamp.month;
    date.tm_mday = stamp.day;
    date.tm_hour = stamp.hour;
    date.tm_min = stamp.minute;
    date.tm_sec = stamp.second;
    return mktime(&date);
  }

  // On a day whose clock changes, the time since its start is not what the clock shows.
  Day workOut(int month, int day) const {
    const time_t start = convert({month, day, 0, 0, 0});
    for (int hour = 0; hour < 24; ++hour)
      if (convert({month, day, hour, 59, 59}) != start + secondsOf({month, day, hour, 59, 59}))
        return {Day::kChangesClock, 0};
    return {Day::kUniform, start};
  }

  void forgetDays() {
    for (auto& month : days_)
      for (Day& day : month) day = {};
  }

  bool held_ = false;
  time_t now_ = -1;
  tm today_ = {};
  Day days_[12][32];
};

Calendar calendar;

// --- Freshness ---

void traceDate(const char* label, long when) {
  const time_t then = when;
  trace("%s%d %s", label, static_cast<int>(when), printable(ctime(&then)));
}

bool isFresh(const char* line, long then) {
  const long now = time(nullptr);
  if (then + lifetime_s() >= now) return true;
  if (is_daemon) return false;
  trace("DENIED: %s\n", line);
  traceDate("now: ", now);
  traceDate("then: ", then);
  return false;
}

// --- Classic servers ---

// Where the address stands on a login line whose process has no connect line: behind the sixth
// blank after the process id, or two words on if that word begins with "in". Null if the line is
// too short.
const char* addressOnLine(const char* line) {
  const char* message = behindChar(line, ']', 1);
  const char* word = message ? behindChar(message, ' ', 6) : nullptr;
  return word && startsWith(word, "in") ? behindChar(word, ' ', 2) : word;
}

// Puts the user of a "Login user=name ..." line into email_buff. False if it does not end.
bool readImapUser(const char* line) {
  const char* equals = findChar(line, '=');
  if (*equals == '\0') return true;
  const OwnedText user(newStringUntil(equals + 1, ' ', kLongestClassicName, 0));
  if (!user) return false;
  snprintf(email_buff, sizeof email_buff, "%s", user.get());
  return true;
}

// Puts the user of a "User 'name' of 'domain' ..." line into email_buff, "name@domain" or only
// the name if there is no domain. False if one of them does not end.
bool readQuotedUser(const char* line) {
  const char* open = findChar(line, '\'');
  if (*open == '\0') return true;
  const OwnedText name(newStringUntil(open + 1, '\'', kLongestClassicName, 0));
  if (!name) return false;
  snprintf(email_buff, sizeof email_buff, "%s", name.get());

  // The search for the closing quote passes over one that stands right behind the opening one: with
  // an empty name it finds the next text's.
  const char* close = findChar(open + 2, '\'');
  const char* next = *close == '\0' ? close : findChar(close + 1, '\'');
  if (*next == '\0') return true;
  const OwnedText domain(newStringUntil(next + 1, '\'', kLongestClassicName, 0));
  if (!domain) return false;
  snprintf(email_buff, sizeof email_buff, "%s@%s", name.get(), domain.get());
  return true;
}

// The address of the process, owned by process_ips; null if none could be found.
const char* addressOfProcess(const char* key, const char* line) {
  if (const char* known = process_ips.getValue(key)) return known;
  const char* rest = addressOnLine(line);
  if (!rest) return nullptr;
  const OwnedText ip(newStringUntil(rest, ',', kLongestClassicAddress, 0));
  trace("ptr: %s, ip: %s\n", rest, printable(ip.get()));
  // A missing address is kept as an empty one: the process's next lines need not look again.
  process_ips.setParam(key, ip.get(), true, 1, false);
  return process_ips.getValue(key);
}

// --- Dovecot ---

// The address behind "rip=", or null.
char* newDovecotAddress(const char* text) {
  const char* field = findString(text, "rip=", 1);
  if (*field == '\0') return nullptr;
  return newStringUntil(findChar(field, '=') + 1, ',', kLongestDovecotAddress, 0);
}

}  // namespace

long getTimeFromString(const char* line) {
  Stamp stamp;
  if (!readStampInColumns(line, stamp) && !readStamp(line, stamp)) {
    log("Error reading't reading all of the value from the date: %s", line);
    return 0;
  }
  if (stamp.month == -1) {
    log("Unable to parse the date");
    return 0;
  }
  return calendar.timeOf(stamp);
}

void holdCalendar(bool on) {
  calendar.hold(on);
}

int isIP(const char* text) {
  if (!text || *text == '\0' || text[strspn(text, "0123456789.")] != '\0') return 0;
  for (int i = 0; i < 4; ++i) {
    int number = -1;
    if (i > 0 && *text++ != '.') return 0;
    if (!readInt(text, number) || number > 255 || (i == 0 && number < 1)) return 0;
  }
  return 1;
}

void verifyPid(int pid, const char* line, int isImap) {
  const Decimal key(pid);
  const long then = getTimeFromString(line);
  if (!isFresh(line, then)) return;

  memset(email_buff, 0, sizeof email_buff);
  if (!(isImap ? readImapUser(line) : readQuotedUser(line))) return;
  const char* ip = addressOfProcess(key.text, line);
  if (!ip) return;
  if (!isIP(ip)) {
    trace("'%s' is not an IP, thus not adding it to the list\n", ip);
    return;
  }
  const int seconds = static_cast<int>(then);
  if (strcomp(ip, kLoopback) == 0) {
    if (!is_daemon)
      trace("Ignoring %s=%d for pid %d (%s) user: %s\n", ip, seconds, pid, key.text,
            printable(user_list.getValue(ip)));
    return;
  }
  if (*email_buff != '\0') {
    user_list.setParam(ip, email_buff, true, 1, false);
    log_last_login(email_buff, ip, then);
  }
  if (!is_daemon)
    trace("setting: %s=%d for pid %d (%s) user: %s\n", ip, seconds, pid, key.text,
          printable(user_list.getValue(ip)));
  host_list.setParam(ip, seconds);
}

void add_dovecot(const char* line) {
  const long then = getTimeFromString(line);
  if (!isFresh(line, then)) return;

  const char* open = findChar(line, '<');
  if (*open == '\0') return;
  const OwnedText user(newStringUntil(open + 1, '>', kLongestDovecotName, 0));
  if (!user) return;
  const char* close = open + 1 + strlen(user.get());
  const OwnedText ip(newDovecotAddress(close));
  if (!ip) return;

  if (strcomp(ip.get(), kLoopback) == 0) {
    // Not admitted, yet unlike a classic login it is recorded: webmail logs in from here.
    trace("Ignoring %s for %s\n", ip.get(), user.get());
    log_last_login(user.get(), ip.get(), then);
    return;
  }
  trace("Adding %s %s\n", user.get(), ip.get());
  if (!isIP(ip.get())) {
    trace("'%s' is not an IP, thus not adding it to the list\n", ip.get());
    return;
  }
  host_list.setParam(ip.get(), static_cast<int>(then));
  user_list.setParam(ip.get(), user.get(), true, 1, false);
  log_last_login(user.get(), ip.get(), then);
}
