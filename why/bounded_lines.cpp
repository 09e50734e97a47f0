#include "why/bounded_lines.h"

#include <cstring>

const char* BoundedLines::next() {
  for (;;) {
    const auto left = static_cast<size_t>(end_ - start_);
    if (auto* newline = static_cast<char*>(memchr(start_, '\n', left))) {
      const char* line = handOver(newline);
      if (line) return line;
    } else if (left == kLongest) {
      // The start of the line is handed over; the rest of it is read into the same place.
      *end_ = '\0';
      start_ = end_ = block_;
      if (!skipping_) {
        skipping_ = true;
        ++cut_;
        return block_;
      }
    } else if (!readMore()) {
      return left > 0 ? handOver(nullptr) : nullptr;
    }
  }
}

// The line that ends at its newline or, without one, with the input. Null if it is the rest of a
// line that was too long.
const char* BoundedLines::handOver(char* newline) {
  char* const line_end = newline ? newline : end_;
  const char* line = skipping_ ? nullptr : start_;
  skipping_ = false;
  *line_end = '\0';
  if (newline && newline > start_ && newline[-1] == '\r') newline[-1] = '\0';
  start_ = newline ? newline + 1 : end_;
  return line;
}

bool BoundedLines::readMore() {
  const auto left = static_cast<size_t>(end_ - start_);
  memmove(block_, start_, left);
  start_ = block_;
  end_ = block_ + left;
  const size_t n = fread(end_, 1, static_cast<size_t>(block_ + kLongest - end_), in_);
  end_ += n;
  bytes_ += static_cast<long long>(n);
  return n > 0;
}
