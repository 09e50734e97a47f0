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
// is too slow for millions of lines. During a scan each hour is therefore looked up once. Lines
// need not be in order: programs may write their dates in different zones.
class Calendar {
 public:
  void hold(bool on) {
    held_ = on;
    now_ = -1;
    forgetHours();
  }

  time_t timeOf(const Stamp& stamp) {
    lookUpToday();
    if (!held_ || !isOrdinary(stamp)) return convert(stamp);
    Hour& hour = hours_[stamp.day][stamp.hour];
    if (hour.month != stamp.month) hour = lookUpHour(stamp);
    return hour.changes_clock ? convert(stamp)
                              : hour.start + stamp.minute * time_t{60} + stamp.second;
  }

 private:
  struct Hour {
    int month = -1;  // of which month this day is; -1: not looked up
    time_t start = 0;
    bool changes_clock = false;  // whether the clock does not show the time since the start
  };

  static bool isOrdinary(const Stamp& stamp) {
    return stamp.day >= 1 && stamp.day <= 31 && stamp.hour >= 0 && stamp.hour < 24 &&
           stamp.minute >= 0 && stamp.minute < 60 && stamp.second >= 0 && stamp.second < 60;
  }

  void lookUpToday() {
    const time_t now = time(nullptr);
    if (held_ && now == now_) return;
    const tm found = *localtime(&now);
    if (found.tm_year != today_.tm_year || found.tm_isdst != today_.tm_isdst ||
        found.tm_gmtoff != today_.tm_gmtoff)
      forgetHours();
    today_ = found;
    now_ = now;
  }

  Hour lookUpHour(const Stamp& stamp) const {
    const time_t first = convert({stamp.month, stamp.day, stamp.hour, 0, 0});
    const time_t last = convert({stamp.month, stamp.day, stamp.hour, 59, 59});
    return {stamp.month, first, last != first + 3599};
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

  void forgetHours() {
    for (auto& day : hours_)
      for (Hour& hour : day) hour = {};
  }

  bool held_ = false;
  time_t now_ = -1;
  tm today_ = {};
  Hour hours_[32][24];  // by day of the month and hour
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
