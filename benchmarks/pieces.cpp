// Runs the benchmarks of single functions. They use the daemon's real paths: see scripts/benchmark.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (access("/run/private/etc", F_OK) != 0) {
    fprintf(stderr, "pieces: not in a private namespace, see scripts/in-private-namespace\n");
    return 2;
  }
#ifndef __OPTIMIZE__
  fprintf(stderr, "WARNING: this build is not optimised; its figures tell nothing.\n");
#endif
#ifdef __clang__
  benchmark::AddCustomContext("compiler", __VERSION__);
#else
  benchmark::AddCustomContext("compiler", "gcc " __VERSION__);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
