// readLine(), both ways of calling it, against taking the same bytes one by one. An input is the
// size of the buffer, the limit of a line, and what is read.

#include <cstdio>
#include <cstring>

#include "fuzz.h"
#include "support/cv_string.h"
#include "support/owned_text.h"
#include "support/system.h"

namespace {

// The next line of `bytes`, and the size of the buffer afterwards. False at their end.
bool takeLine(std::string_view& bytes, int& size, int limit, std::string& line) {
  line.clear();
  if (bytes.empty() || size < 2) return false;
  while (!bytes.empty()) {
    const char c = bytes[0];
    bytes.remove_prefix(1);
    if (c == '\n') {
      if (!line.empty() && line.back() == '\r') line.back() = '\0';
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

void readAll(std::string_view bytes, int size, int limit, bool remember) {
  const OwnedFile in(fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "r"));
  char* buffer = newString(nullptr, size);
  int in_use = size, want_size = size;
  std::string want;
  // Each line that is chopped is reported, which takes its time.
  bool more = true;
  for (int lines = limit > 0 ? 10 : 200; more && lines > 0; --lines) {
    if (!remember || in_use == size) memset(buffer, 'x', static_cast<size_t>(size));
    more = takeLine(bytes, want_size, limit, want);
    const int got = remember ? readLine(nullptr, in.get(), buffer, size, limit, in_use)
                             : readLine(nullptr, in.get(), buffer, size, limit);
    CHECK(got == (more ? static_cast<int>(want.size()) : -1), std::to_string(got));
    CHECK(size == want_size, std::to_string(size));
    want.resize(static_cast<size_t>(size));
    CHECK(memcmp(buffer, want.data(), want.size()) == 0, "text, or not zero behind it");
  }
  delString(buffer);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const int buffer_size = static_cast<int>(1 + input.byte());
  const int limit = static_cast<int>(input.byte());
  if (input.rest.empty()) return 0;  // no stream in memory can be empty
  for (const int max_length : {0, limit})
    for (const bool remember : {false, true})
      readAll(input.rest, buffer_size, max_length, remember);
  return 0;
}
