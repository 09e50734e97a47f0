// What the benchmarks of single functions are fed with.
#pragma once

#include <algorithm>
#include <ctime>
#include <fstream>
#include <random>
#include <string>
#include <vector>

constexpr char kSampleFile[] = "/run/sample";

// Fills a file with `count` copies of a text.
inline void fillFile(const std::string& text, long count) {
  std::ofstream file(kSampleFile, std::ios::binary);
  for (long i = 0; i < count; ++i) file << text;
}

inline std::string stampOf(time_t when) {
  char stamp[32];
  strftime(stamp, sizeof stamp, "%b %e %H:%M:%S mail ", localtime(&when));
  return stamp;
}

// Different addresses in no order, the same each time.
inline std::vector<std::string> addresses(long count) {
  std::vector<std::string> texts;
  for (long i = 0; i < count; ++i)
    texts.push_back(std::to_string(1 + i % 120) + "." + std::to_string(i / 120 % 250) + "." +
                    std::to_string(i / 30000) + "." + std::to_string(i * 7 % 250));
  std::shuffle(texts.begin(), texts.end(), std::mt19937(1));
  return texts;
}
