// getTimeFromString(), within a scan and without, against sscanf() and mktime(). An input is a
// zone, the time now, and lines, each behind a step of the clock.

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "daemon/line_date.h"
#include "fuzz.h"

namespace {

// Half-hour offsets and changes, negative and double summer time, pauses, moves by law; but no zone
// that skips a whole day, for whose hours mktime() has no answer to rely on.
constexpr const char* kZones[] = {
    "UTC",           "Europe/Berlin",       "Asia/Kolkata",      "America/St_Johns",
    "Europe/Dublin", "Australia/Lord_Howe", "Africa/Casablanca", "America/Santiago",
    "Asia/Gaza",     "Asia/Novosibirsk",    "America/Caracas",   "Asia/Pyongyang",
    "America/Nuuk",  "Antarctica/Troll",    "Asia/Tehran",       "America/Scoresbysund"};
constexpr int kSteps_s[] = {0, 0, 1, 1800, 86400, 30 * 86400, 182 * 86400, -182 * 86400};

// Where a zone skips or repeats hours and no flag tells which are meant, the answer of mktime()
// depends on what it was asked before: a date some days behind or ahead.
long plainTime(const std::string& line, time_t now, int days_ahead) {
  constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  std::string month(line.size() + 1, '\0');
  long long n[4];  // day, hour, minute, second
  if (sscanf(line.c_str(), "%s %lld %lld:%lld:%lld", month.data(), n, n + 1, n + 2, n + 3) < 5)
    return 0;
  tm date = *localtime(&now);
  for (date.tm_mon = 0; month.c_str() != std::string(kMonths + 3 * date.tm_mon, 3);)
    if (++date.tm_mon == 12) return 0;
  int* const fields[] = {&date.tm_mday, &date.tm_hour, &date.tm_min, &date.tm_sec};
  for (int i = 0; i < 4; ++i)
    *fields[i] = static_cast<int>(std::clamp<long long>(n[i], INT_MIN, INT_MAX));
  tm before = date;
  before.tm_mday = std::clamp(date.tm_mday, 0, 99) + days_ahead;
  mktime(&before);
  return static_cast<long>(mktime(&date));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rmdir("/var/log/corvane");  // where each message would make the activity log grow
  for (const bool within_scan : {true, false}) {
    Input input(data, size);
    setenv("TZ", kZones[input.byte() % std::size(kZones)], 1);
    tzset();
    time_t now = input.word();
    holdCalendar(within_scan);
    while (!input.rest.empty()) {
      now = std::max<time_t>(1, now + kSteps_s[input.byte() % std::size(kSteps_s)]);
      const FakeTime clock(now);
      const std::string line = input.line();
      const long want = plainTime(line, now, 5), got = getTimeFromString(line.c_str());
      CHECK(
          got == want || got == plainTime(line, now, -5),
          std::to_string(got) + " at " + std::to_string(now) + " in " + getenv("TZ") + ": " + line);
    }
  }
  return 0;
}
