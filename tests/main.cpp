// Runs all unit tests. They write the daemon's real paths: run them with
// scripts/in-private-namespace, as ctest does.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "test_files.h"

namespace {
long live_arrays = 0;
}

void* operator new[](size_t size) {
  void* memory = malloc(size);
  if (!memory) throw std::bad_alloc();
  ++live_arrays;
  return memory;
}

void operator delete[](void* memory) noexcept {
  if (memory) --live_arrays;
  free(memory);
}

void operator delete[](void* memory, size_t) noexcept {
  operator delete[](memory);
}

long liveTexts() {
  return live_arrays;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (access("/run/private/etc", F_OK) != 0) {
    fprintf(stderr, "unit_tests: not in a private namespace, see scripts/in-private-namespace\n");
    return 2;
  }
  return RUN_ALL_TESTS();
}
