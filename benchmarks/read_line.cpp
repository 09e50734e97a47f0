// Reading lines of several lengths: readLine() beside getline() of the C library.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "benchmarks/samples.h"
#include "support/cv_string.h"
#include "support/system.h"

namespace {

// Reads 8 MiB of lines so long; `read` reads all of them and returns how many.
template <typename Read>
void readAll(benchmark::State& state, Read read) {
  const long count = (8L << 20) / state.range(0);
  fillFile(std::string(static_cast<size_t>(state.range(0)) - 1, 'x') + "\n", count);
  FILE* file = fopen(kSampleFile, "r");
  for (auto _ : state) {
    rewind(file);
    if (read(file) != count) state.SkipWithError("lines were lost");
  }
  fclose(file);
  state.SetBytesProcessed(state.iterations() * count * state.range(0));
}

void readLineOf(benchmark::State& state) {
  int size = 256;
  char* buffer = newString(nullptr, size);
  readAll(state, [&](FILE* file) {
    long lines = 0;
    while (readLine(nullptr, file, buffer, size, 0) != -1) ++lines;
    return lines;
  });
  delString(buffer);
}

void getlineOf(benchmark::State& state) {
  char* buffer = nullptr;
  size_t size = 0;
  readAll(state, [&](FILE* file) {
    long lines = 0;
    while (getline(&buffer, &size, file) != -1) ++lines;
    return lines;
  });
  free(buffer);
}

}  // namespace

BENCHMARK(readLineOf)->Arg(20)->Arg(150)->Arg(1000)->Arg(1 << 16)->Arg(1 << 20);
BENCHMARK(getlineOf)->Arg(20)->Arg(150)->Arg(1000)->Arg(1 << 16)->Arg(1 << 20);
