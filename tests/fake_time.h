// The clock of the unit tests.
#pragma once

#include <ctime>

// What time() returns while one lives; the real time otherwise.
class FakeTime {
 public:
  explicit FakeTime(time_t now) { set(now); }
  ~FakeTime() { set(0); }
  FakeTime(const FakeTime&) = delete;
  FakeTime& operator=(const FakeTime&) = delete;
  void set(time_t now);
};

// Midday of a date, in the zone of the run.
time_t midday(int year, int month, int day);
