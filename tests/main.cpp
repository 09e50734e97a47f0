// Runs all unit tests. They write the daemon's real paths: run them with
// scripts/in-private-namespace, as ctest does.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (access("/run/private/etc", F_OK) != 0) {
    fprintf(stderr, "unit_tests: not in a private namespace, see scripts/in-private-namespace\n");
    return 2;
  }
  return RUN_ALL_TESTS();
}
