// What all targets share. A target takes any bytes, and ends the process where the product does on
// them what it must not do. The fuzzer looks for such bytes; replay_main.cpp repeats stored ones.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fake_time.h"
#include "test_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Ends the process with a message unless `holds`; `detail` is worked out only then.
#define CHECK(holds, detail) static_cast<void>((holds) || (refuted(#holds, (detail)), false))
[[noreturn]] inline void refuted(const char* claim, const std::string& detail) {
  fprintf(stderr, "Does not hold: %s\n%s\n", claim, detail.c_str());
  abort();
}

// An input, taken piece by piece. A line ends at its first NUL; what is missing reads as 0.
struct Input {
  std::string_view rest;

  Input(const uint8_t* data, size_t size) : rest(reinterpret_cast<const char*>(data), size) {}

  std::string line() {
    const std::string taken(rest.substr(0, rest.find('\n')));
    rest.remove_prefix(std::min(rest.size(), taken.size() + 1));
    return taken.c_str();
  }
  unsigned byte() {
    const unsigned value = rest.empty() ? 0 : static_cast<unsigned char>(rest[0]);
    rest.remove_prefix(!rest.empty());
    return value;
  }
  uint32_t word() {
    uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) value |= byte() << shift;
    return value;
  }
};
