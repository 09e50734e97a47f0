// Reading a whole log line by line, whatever the length of the lines.
#pragma once

#include <cstdio>

class Logging;

namespace cv {

// Reads all that is left of a stream: the lines that repeated readLine() calls without a limit
// would give, and with the same growth of the caller's buffer. Yet a line that fits is not copied
// into it but handed over where it stands in the block just read, as a log of gigabytes demands.
class LineReader {
 public:
  // The stream and the buffer stay the caller's, and must outlive the reader. A null `log` counts
  // as a default-constructed one.
  LineReader(Logging* log, FILE* in, char*& buffer, int& size);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // The next line, terminated, or null when there is none. It is valid until the next call.
  // Where reading fails it is null as at the end, and a line of which a part has been read is not
  // handed over.
  const char* next();

  // The bytes of the lines handed over so far, with their line ends.
  long long handedOver() const { return end_offset_ - (end_ - start_); }

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
  long long end_offset_ = 0;     // bytes before end_, counted from where the reader began
  char block_[kBlock + 1] = {};  // and a NUL behind a last line without a newline
};

}  // namespace cv

using namespace cv;
