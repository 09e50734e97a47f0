// readLine() and LineReader against taking the same bytes one by one. An input is the size of the
// buffer, the limit of a line, and what is read.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "fuzz.h"
#include "support/cv_string.h"
#include "support/line_reader.h"
#include "support/stream.h"

namespace {

// The next line of `bytes`, and the size of the buffer afterwards. False at their end.
bool takeLine(std::string_view& bytes, int& size, int limit, std::string& line) {
  line.clear();
  if (bytes.empty() || size < 2) return false;
  while (!bytes.empty()) {
    const char c = bytes[0];
    bytes.remove_prefix(1);
    if (c == '\n') {
      if (line.ends_with('\r')) line.back() = '\0';
      return true;
    }
    line += c;
    const int length = static_cast<int>(line.size());
    if (size - length >= 32) continue;
    if (limit > 0 && length > limit) return true;
    size *= 2;
  }
  return true;
}

void check(std::string_view bytes, int size, int limit, bool with_reader) {
  const OwnedFile in(fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "r"));
  char* buffer = newString(nullptr, size);
  LineReader reader(nullptr, in.get(), buffer, size);
  int want_size = size;
  std::string want;
  while (takeLine(bytes, want_size, limit, want)) {
    if (with_reader) {
      const char* line = reader.next();
      CHECK(line && line == std::string(want.c_str()), want);
    } else {
      memset(buffer, 'x', static_cast<size_t>(size));
      const int length = readLine(nullptr, in.get(), buffer, size, limit);
      CHECK(length == static_cast<int>(want.size()), std::to_string(length));
      want.resize(static_cast<size_t>(want_size));
      CHECK(memcmp(buffer, want.data(), want.size()) == 0, "text, or not zero behind it");
    }
    CHECK(size == want_size, std::to_string(size));
  }
  if (with_reader) CHECK(!reader.next(), "more lines");
  CHECK(readLine(nullptr, in.get(), buffer, size, limit) == -1, "more lines");
  delString(buffer);
}

// Where reading fails behind the bytes: whole lines are handed over, the rest is kept for later.
void checkFailing(std::string_view bytes, int size) {
  int ends[2];
  CHECK(pipe2(ends, O_NONBLOCK) == 0, "no pipe");  // empty but still open, it fails to be read
  CHECK(write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "full");
  const OwnedFile in(fdopen(ends[0], "r"));
  char* buffer = newString(nullptr, size);
  LineReader reader(nullptr, in.get(), buffer, size);
  while (reader.next()) continue;
  CHECK(reader.handedOver() == static_cast<long long>(bytes.rfind('\n') + 1), "not whole lines");
  close(ends[1]);
  delString(buffer);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const int buffer_size = static_cast<int>(1 + input.byte());
  const int limit = static_cast<int>(input.byte());
  if (input.rest.empty()) return 0;                             // no stream in memory can be empty
  check(input.rest.substr(0, 300), buffer_size, limit, false);  // to chop a line takes its time
  // The reader in its first block, and where a block ends within a line.
  const int roomy = std::max(buffer_size, 2);
  check(input.rest, roomy, 0, true);
  checkFailing(input.rest.substr(0, 4096), roomy);  // as much as a pipe holds
  const std::string before(64 * 1024 - static_cast<size_t>(limit), '.');
  check(before + std::string(input.rest), roomy, 0, true);
  return 0;
}
