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
  const int failed = RUN_ALL_TESTS();
  if (testing::UnitTest::GetInstance()->test_to_run_count() > 0) return failed;
  fprintf(stderr, "unit_tests: no test was run\n");
  return 3;
}
