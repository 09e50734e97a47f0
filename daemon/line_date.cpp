#include "daemon/line_date.h"

#include <ctime>

#include "daemon/activity_log.h"
#include "daemon/state.h"
#include "support/text_helpers.h"

namespace {

struct Stamp {
  int month = 0;  // 0 to 11
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;

  bool operator==(const Stamp&) const = default;
};

// The month of this name, -1 if there is none.
int monthNumber(const char* word, size_t length) {
  static int latest = 0;  // the next line is mostly of the same month
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

// Reads "Mon DD HH:MM:SS" in the columns that syslog uses. Half of a large log may have to be
// dated, and readStamp() below takes several times as long.
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

// Reads the same words as scanf("%s %d %d:%d:%d") would. An unknown month becomes -1.
bool readStamp(const char* line, Stamp& stamp) {
  const char* month = line;
  while (isWhiteSpace(*month)) ++month;
  const char* p = month;
  while (*p != '\0' && !isWhiteSpace(*p)) ++p;
  stamp.month = monthNumber(month, static_cast<size_t>(p - month));
  return p > month && readInt(p, stamp.day) && readInt(p, stamp.hour) && *p++ == ':' &&
         readInt(p, stamp.minute) && *p++ == ':' && readInt(p, stamp.second);
}

// Turns stamps into times. mktime() and localtime() look at the time zone file at every call, which
// is too slow for millions of lines. Most lines of a log are of the same hour as the line before.
// During a scan, an hour is therefore looked up only if it is another one.
class Calendar {
 public:
  void hold(bool on) {
    held_ = on;
    now_ = -1;
    hour_ = kNoHour;
  }

  time_t timeOf(const Stamp& stamp) {
    lookUpToday();
    if (!held_ || !isSixty(stamp.minute) || !isSixty(stamp.second)) return convert(stamp);
    lookUpHour({stamp.month, stamp.day, stamp.hour});
    return changes_clock_ ? convert(stamp) : start_ + stamp.minute * time_t{60} + stamp.second;
  }

 private:
  static constexpr Stamp kNoHour = {.month = -1};

  static bool isSixty(int number) { return number >= 0 && number < 60; }

  void lookUpToday() {
    const time_t now = time(nullptr);
    if (held_ && now == now_) return;
    const tm found = *localtime(&now);
    if (found.tm_year != today_.tm_year || found.tm_isdst != today_.tm_isdst ||
        found.tm_gmtoff != today_.tm_gmtoff)
      hour_ = kNoHour;
    today_ = found;
    now_ = now;
  }

  void lookUpHour(const Stamp& hour) {
    if (hour == hour_) return;
    hour_ = hour;
    start_ = convert(hour);
    changes_clock_ = convert({hour.month, hour.day, hour.hour, 59, 59}) != start_ + 3599;
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

  bool held_ = false;
  time_t now_ = -1;
  tm today_ = {};
  Stamp hour_ = kNoHour;        // the hour that was looked up last
  time_t start_ = 0;            // when it began
  bool changes_clock_ = false;  // whether the clock does not show the seconds since then
};

Calendar calendar;

}  // namespace

long getTimeFromString(const char* line) {
  Stamp stamp;
  if (!readStampInColumns(line, stamp) && !readStamp(line, stamp)) {
    // The odd words stay: administrators search their logs for them.
    log("Error reading't reading all of the value from the date: %s", line);
    return 0;
  }
  if (stamp.month == -1) {
    log("Unable to parse the date");
    return 0;
  }
  return static_cast<long>(calendar.timeOf(stamp));
}

void holdCalendar(bool on) {
  calendar.hold(on);
}
