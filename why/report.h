// What the administrator gets to read, a finding a line.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

enum class Found { kFine, kNote, kWrong, kUnknown };

class Report {
 public:
  // Colours only on a terminal. Brief: without what is fine.
  explicit Report(bool brief);

  void say(Found found, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // A line of the log, under the finding before it.
  void quote(const std::string& line) const;

  // The last line.
  void conclude(bool good, const std::string& text) const;

  // How many findings there were of this sort.
  int count(Found found) const { return counts_[static_cast<int>(found)]; }
  const std::string& firstWrong() const { return first_wrong_; }

 private:
  bool brief_;
  bool colours_;
  int counts_[4] = {};
  std::string first_wrong_;
};

// "22:58" today, else with the date before it.
std::string clockTime(time_t when);

// A text from elsewhere, with everything escaped that a terminal might obey.
std::string shown(std::string_view text);

// As printf() makes it.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
