#include "fake_time.h"

namespace {
time_t fake_now = 0;
}

extern "C" {
time_t __wrap_time(time_t* out) {
  timespec real;
  clock_gettime(CLOCK_REALTIME, &real);
  const time_t now = fake_now == 0 ? real.tv_sec : fake_now;
  if (out) *out = now;
  return now;
}
// Its name where a time has 64 bits and a long 32.
time_t __wrap___time64(time_t* out) {
  return __wrap_time(out);
}
}

void FakeTime::set(time_t now) {
  fake_now = now;
}

time_t midday(int year, int month, int day) {
  tm date = {};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  date.tm_hour = 12;
  date.tm_isdst = -1;
  return mktime(&date);
}
