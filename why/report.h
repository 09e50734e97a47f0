// What the administrator gets to read, a finding a line.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

class Report {
 public:
  // Colours only on a terminal. Brief: without what is fine.
  explicit Report(bool brief);

  void fine(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void note(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void wrong(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void unknown(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // A line of the log under the finding before it.
  void quote(const std::string& line) const;

  // The verdict, which comes last.
  void verdict(bool good, const std::string& text) const;

  int wrongs() const { return wrongs_; }
  int unknowns() const { return unknowns_; }
  const std::string& firstWrong() const { return first_wrong_; }

 private:
  void print(const char* label, int colour, const std::string& text) const;

  bool brief_;
  bool colours_;
  int wrongs_ = 0;
  int unknowns_ = 0;
  std::string first_wrong_;
};

// "22:58" today, else with the date before it.
std::string clockTime(time_t when);

// A text from elsewhere, with everything escaped that a terminal might obey.
std::string shown(std::string_view text);

// As printf() makes it.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
