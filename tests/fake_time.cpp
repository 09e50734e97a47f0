#include "fake_time.h"

namespace {
time_t fake_now = 0;
}

extern "C" {
time_t __real_time(time_t* out);
time_t __wrap_time(time_t* out) {
  if (fake_now == 0) return __real_time(out);
  if (out) *out = fake_now;
  return fake_now;
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
