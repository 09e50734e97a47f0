// Reading a whole log line by line, whatever the length of the lines.
#pragma once

#include <cstdio>

class Logging;

namespace cv {

// Reads the rest of a stream. It gives the same lines as repeated readLine() calls without a limit,
// and lets the caller's buffer grow in the same way. But it copies a line into this buffer only if
// it is too long; other lines stay in the block just read. A log of gigabytes needs that.
class LineReader {
 public:
  // The stream and the buffer (`size` bytes, as for readLine()) stay the caller's, and must outlive
  // the reader. A null `log` counts as a default-constructed one.
  LineReader(Logging* log, FILE* in, char*& buffer, int& size);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // The next line, terminated, or null when there is none. It is valid until the next call.
  // If reading fails, the result is null as at the end, and a line that was read in part is not
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
  char* start_ = block_;  // bytes that were read but not handed over: start_ .. end_ - 1
  char* end_ = block_;
  long long end_offset_ = 0;     // bytes before end_, counted from where the reader began
  char block_[kBlock + 1] = {};  // one byte more, for the NUL behind a last line without a newline
};

}  // namespace cv

using namespace cv;
