// Repeats stored inputs, so that every compiler's ordinary tests run the targets:
//
//   TARGET_replay CORPUS_FOLDER RUNS
//
// each file of the folder, each cut off at every byte if it is short, and then RUNS inputs made of
// these by a fixed sequence of random changes. An input that fails is printed for a shell.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz.h"

extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace {

constexpr unsigned kSeed = 20240307;
constexpr size_t kCutUpTo = 220;  // bytes; every kind of line is stored alone

std::string current;

void printCurrent() {
  fputs("The input: printf '", stderr);
  for (const char c : current) fprintf(stderr, "\\x%02x", static_cast<unsigned char>(c));
  fputs("'\n", stderr);
}

void run(const std::string& input) {
  current = input;
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(current.data()), current.size());
}

// In the order of their names: the random sequence depends on it.
std::vector<std::string> readCorpus(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  std::vector<std::filesystem::path> files(begin(entries), end(entries));
  std::sort(files.begin(), files.end());
  std::vector<std::string> inputs;
  for (const auto& file : files) {
    std::ifstream stream(file, std::ios::binary);
    inputs.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  return inputs;
}

// A few changes: bytes exchanged, put in and taken out, pieces of this and of another input.
std::string changed(std::string input, const std::string& other, std::mt19937& random) {
  static constexpr char kBytes[] = "\n\r\t '<>()[]=&/.,:@-%09aZ\x7f\x80\xff";
  const auto below = [&random](size_t n) { return random() % n; };
  for (size_t changes = 1 + below(5); changes > 0; --changes) {
    const size_t at = below(input.size() + 1), length = below(2) ? below(5) : below(40);
    const char byte = below(2) ? kBytes[below(sizeof kBytes)] : static_cast<char>(random());
    const std::string& source = below(2) ? input : other;
    const std::string piece = source.substr(below(source.size() + 1), length);
    const size_t what = below(5);
    if (what < 2)
      input.replace(at, what, 1, byte);
    else
      input.replace(at, what == 2 ? 0 : length, what == 3 ? "" : piece);
  }
  return input;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  LLVMFuzzerInitialize(&argc, &argv);
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(printCurrent);
  std::signal(SIGABRT, [](int) { printCurrent(); });

  const std::vector<std::string> corpus = readCorpus(argv[1]);
  size_t cuts = 0;
  for (const std::string& input : corpus) {
    run(input);
    for (size_t n = 0; input.size() <= kCutUpTo && n < input.size(); ++n, ++cuts)
      run(input.substr(0, n));
  }
  std::mt19937 random(kSeed);
  const auto any = [&]() -> const std::string& { return corpus[random() % corpus.size()]; };
  const unsigned long runs = corpus.empty() ? 0 : strtoul(argv[2], nullptr, 10);
  for (unsigned long i = 0; i < runs; ++i) {
    const std::string& input = any();
    run(changed(input, any(), random));
  }
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(nullptr);
  fprintf(stderr, "%zu stored inputs, %zu cuts of them, %lu changes from seed %u\n", corpus.size(),
          cuts, runs, kSeed);
  return runs > 0 ? 0 : 3;
}
