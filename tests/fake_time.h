// The clock of the tests. Who includes this is linked with --wrap=time,--wrap=__time64.
#pragma once

#include <ctime>

inline time_t fake_now = 0;  // 0: the real time

// What time() returns while one lives; the real time otherwise.
class FakeTime {
 public:
  explicit FakeTime(time_t now) { set(now); }
  ~FakeTime() { set(0); }
  FakeTime(const FakeTime&) = delete;
  FakeTime& operator=(const FakeTime&) = delete;
  void set(time_t now) { fake_now = now; }
};

extern "C" {
__attribute__((used)) inline time_t __wrap_time(time_t* out) {
  timespec real;
  clock_gettime(CLOCK_REALTIME, &real);
  const time_t now = fake_now == 0 ? real.tv_sec : fake_now;
  if (out) *out = now;
  return now;
}
// Its name where a time has 64 bits and a long 32.
__attribute__((used)) inline time_t __wrap___time64(time_t* out) {
  return __wrap_time(out);
}
}

// A time in the zone of the run, given as "2026-11-21 12:00:00".
inline time_t localTime(const char* text) {
  tm date = {};
  strptime(text, "%Y-%m-%d %H:%M:%S", &date);
  date.tm_isdst = -1;
  return mktime(&date);
}
