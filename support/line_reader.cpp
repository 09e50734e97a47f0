#include "support/line_reader.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "support/cv_string.h"
#include "support/logging.h"

namespace {

constexpr int kSpareBytes = 32;  // at least as many stay free behind a text

// Doubles `buffer` and keeps its first `used` bytes, NUL bytes too. The caller clears the bytes
// behind them if it needs to: clearing megabytes for nothing would cost too much.
void doubleBuffer(char*& buffer, int& size, int used) {
  const int doubled = 2 * size;
  char* larger = new char[static_cast<size_t>(doubled)];
  memcpy(larger, buffer, static_cast<size_t>(used));
  delString(buffer);
  buffer = larger;
  size = doubled;
}

// Puts the bytes of one line into the caller's buffer and lets it grow as readLine() promises.
class LineInBuffer {
 public:
  LineInBuffer(Logging* log, char*& buffer, int& size, int max_length)
      : log_(log), buffer_(buffer), size_(size), max_length_(max_length) {}

  // Takes as many of the n bytes as belong to this line, and says how many.
  long take(const char* bytes, long n) {
    long taken = 0;
    while (taken < n && !full_) {
      const int room = std::max(1, size_ - kSpareBytes + 1 - stored_);
      const int piece = static_cast<int>(std::min<long>(n - taken, room));
      memcpy(buffer_ + stored_, bytes + taken, static_cast<size_t>(piece));
      stored_ += piece;
      taken += piece;
      if (size_ - stored_ < kSpareBytes) makeRoom();
    }
    return taken;
  }

  // Whether the line is cut here: it has reached its limit, or the buffer cannot grow.
  bool full() const { return full_; }
  int stored() const { return stored_; }

  // To be called at the newline. A carriage return before it is not part of the text.
  void endLine() {
    if (stored_ > 0 && buffer_[stored_ - 1] == '\r') buffer_[stored_ - 1] = '\0';
  }

 private:
  void makeRoom() {
    Logging& report = Logging::orDefault(log_);
    if (max_length_ > 0 && stored_ > max_length_) {
      full_ = true;
      report.errorLog_debug(
          100, "Line length (%d) is greater than max line length (%d). Chopping value.", stored_,
          max_length_);
    } else if (size_ <= INT_MAX / 2) {
      doubleBuffer(buffer_, size_, stored_);
    } else if (stored_ == size_ - 1) {
      full_ = true;
      buffer_[stored_] = '\0';
      report.errorLog_debug(1,
                            "readLine: read %d characters, and have max=%d. Max should have been "
                            "increased well before this point. Please report to "
                            "support@corvane.example.\nLast buffer was: '%s'",
                            stored_, size_, buffer_);
    }
  }

  Logging* log_;
  char*& buffer_;
  int& size_;
  const int max_length_;
  int stored_ = 0;
  bool full_ = false;
};

}  // namespace

int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength) {
  LineInBuffer line(log, buffer, size, maxLength);
  int c = EOF;
  // Reads byte by byte, so that nothing behind the line is taken: `in` may be a pipe, in which we
  // cannot go back.
  while (size >= 2 && !line.full() && (c = getc_unlocked(in)) != EOF && c != '\n') {
    const char byte = static_cast<char>(c);
    line.take(&byte, 1);
  }
  if (c == '\n') line.endLine();
  memset(buffer + line.stored(), 0, static_cast<size_t>(std::max(size - line.stored(), 0)));
  return line.stored() > 0 || c == '\n' ? line.stored() : -1;
}

LineReader::LineReader(Logging* log, FILE* in, char*& buffer, int& size)
    : log_(log), in_(in), buffer_(buffer), size_(size) {}

const char* LineReader::next() {
  for (;;) {
    const auto left = static_cast<size_t>(end_ - start_);
    if (auto* newline = static_cast<char*>(memchr(start_, '\n', left))) return inPlace(newline);
    if (left == kBlock) return inBuffer();
    if (!readBlock()) return left > 0 && !ferror(in_) ? inPlace(nullptr) : nullptr;
  }
}

// Moves the rest of the last block to the front and reads on behind it. False at the end of input,
// and if reading fails; ferror() then says so.
bool LineReader::readBlock() {
  const auto left = static_cast<size_t>(end_ - start_);
  memmove(block_, start_, left);
  start_ = block_;
  end_ = block_ + left;
  clearerr(in_);
  const size_t n = fread(end_, 1, static_cast<size_t>(block_ + kBlock - end_), in_);
  end_ += n;
  end_offset_ += static_cast<long long>(n);
  return n > 0;
}

// The line that ends at its newline or, without one, with the input.
const char* LineReader::inPlace(char* newline) {
  char* const line_end = newline ? newline : end_;
  if (line_end - start_ > size_ - kSpareBytes) return inBuffer();
  *line_end = '\0';
  if (newline && newline > start_ && newline[-1] == '\r') newline[-1] = '\0';
  const char* line = start_;
  start_ = newline ? newline + 1 : end_;
  return line;
}

// Copies the line that starts here into the buffer, because it is longer than the buffer allows or
// than a block.
const char* LineReader::inBuffer() {
  const long long before = handedOver();
  LineInBuffer line(log_, buffer_, size_, 0);
  bool is_whole = false;
  do {
    const auto left = static_cast<size_t>(end_ - start_);
    const auto* newline = static_cast<char*>(memchr(start_, '\n', left));
    start_ += line.take(start_, (newline ? newline : end_) - start_);
    if (newline == start_) {
      line.endLine();
      ++start_;
      is_whole = true;
    }
  } while (!is_whole && !line.full() && (start_ < end_ || readBlock()));
  if (!is_whole && !line.full() && ferror(in_)) {
    end_offset_ = before;  // the block no longer has the line's start
    return nullptr;
  }
  buffer_[line.stored()] = '\0';
  return buffer_;
}
