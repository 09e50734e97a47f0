// Reads a log line by line in a fixed amount of memory, however long a line is.
#pragma once

#include <cstdio>

class BoundedLines {
 public:
  static constexpr long kLongest = 128 * 1024;

  // The stream stays the caller's.
  explicit BoundedLines(FILE* in) : in_(in) {}

  // The next line without its line end, terminated. Of a line longer than kLongest it is the first
  // kLongest bytes. Null at the end, or if reading fails. Valid until the next call.
  const char* next();

  long long bytes() const { return bytes_; }  // read so far
  long long cut() const { return cut_; }      // lines that were longer

 private:
  const char* handOver(char* newline);
  bool readMore();

  FILE* in_;
  long long bytes_ = 0;
  long long cut_ = 0;
  bool skipping_ = false;  // the rest of a line that was too long
  char* start_ = block_;   // what has been read and not handed over yet: start_ .. end_ - 1
  char* end_ = block_;
  char block_[kLongest + 1] = {};
};
