// Repeats stored inputs, so that every compiler's ordinary tests run the targets:
//
//   TARGET_replay CORPUS_FOLDER RUNS
//
// each file of the folder, and then RUNS inputs made of these by a fixed sequence of random
// changes. An input that fails stands at the end of what it prints.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <vector>

#include "fuzz.h"

extern "C" const char* __asan_default_options() {
  return "abort_on_error=1";
}

namespace {

std::string current;

// A few changes: bytes put in, exchanged and taken out, pieces of this and of another input.
std::string changed(std::string input, const std::string& other, std::mt19937& random) {
  const auto below = [&random](size_t n) { return random() % n; };
  for (size_t changes = 1 + below(5); changes > 0; --changes) {
    const std::string& source = below(2) ? input : other;
    const std::string piece = source.substr(below(source.size() + 1), below(2) ? 1 : below(40));
    input.replace(below(input.size() + 1), below(2) * below(20),
                  below(4) ? piece : std::string(1, static_cast<char>(random())));
  }
  return input;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::signal(SIGABRT, [](int) {
    fputs("The input:\n", stderr);
    fwrite(current.data(), 1, current.size(), stderr);
  });

  std::set<std::filesystem::path> files;  // the random sequence depends on their order
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) files.insert(entry);
  std::vector<std::string> corpus;
  for (const auto& file : files) corpus.push_back(contentOf(file));
  std::mt19937 random(20240307);
  const auto any = [&]() -> const std::string& { return corpus[random() % corpus.size()]; };
  const unsigned long runs = corpus.empty() ? 0 : strtoul(argv[2], nullptr, 10);
  for (size_t i = 0; i < corpus.size() + runs; ++i) {
    current = i < corpus.size() ? corpus[i] : changed(any(), any(), random);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(current.data()), current.size());
  }
  fprintf(stderr, "%zu stored inputs, %lu changes of them\n", corpus.size(), runs);
  return runs > 0 ? 0 : 3;
}
