// Reading text line by line, whatever the length of the lines.
//
// Lines end with a newline, which is neither kept nor counted. A carriage return before it is
// counted and then removed. A last line without a newline is a line too. NUL bytes count like
// others.
#pragma once

#include <cstdio>

class Logging;

// Reads one line into `buffer`, an array of `size` bytes from newString() that is replaced by
// larger ones as the line requires: doubled whenever fewer than 32 bytes would stay free.
// Returns the number of bytes stored, or -1 when none are left to read. The text is terminated
// and every byte behind it zero. With maxLength > 0 a line that has passed it when the buffer would
// have to grow is chopped: the rest is the next line. So is, at 1 GiB, what no buffer can hold.
int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength);

// Reads all that is left of a stream: the lines that repeated readLine() calls without a limit
// would give, and with the same growth of the caller's buffer. Yet a line that fits is not copied
// into it but handed over where it stands in the block just read, as a log of gigabytes demands.
class LineReader {
 public:
  // The stream stays the caller's, and so does the buffer: both must outlive the reader. A null
  // `log` counts as a default-constructed one, here and above.
  LineReader(Logging* log, FILE* in, char*& buffer, int& size);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // The next line, terminated, or null when there is none. It is valid until the next call.
  const char* next();

 private:
  bool readBlock();
  const char* inPlace(char* newline);
  const char* inBuffer();

  static constexpr long kBlock = 64 * 1024;

  Logging* log_;
  FILE* in_;
  char*& buffer_;
  int& size_;
  char* start_ = block_;  // what has been read and not handed over yet: start_ .. end_ - 1
  char* end_ = block_;
  char block_[kBlock + 1] = {};  // and a NUL behind a last line without a newline
};
