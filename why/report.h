// What the administrator reads: each finding is a line.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

enum class Found { kFine, kNote, kWrong, kUnknown };

class Report {
 public:
  // Uses colours only on a terminal. A brief report leaves out what is fine.
  explicit Report(bool brief);

  void say(Found found, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // A line of the log, under the finding before it.
  void quote(const std::string& line) const;

  // The last line: the verdict.
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

// "22:58" for today, with the date before it for another day.
std::string clockTime(time_t when);

// A text from elsewhere, with everything escaped that might control a terminal.
std::string shown(std::string_view text);

// As printf() makes it.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
