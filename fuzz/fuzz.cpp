#include "fuzz.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

int LLVMFuzzerInitialize(int*, char***) {
  if (access("/run/private/etc", F_OK) != 0) {
    fprintf(stderr, "Not in a private namespace, see scripts/in-private-namespace\n");
    exit(2);
  }
  setenv("TZ", "UTC", 1);
  return freopen("/dev/null", "w", stdout) ? 0 : -1;  // traces and messages of the library
}

void refuted(const char* claim, const std::string& detail) {
  fprintf(stderr, "Does not hold: %s\n%s\n", claim, detail.c_str());
  abort();
}
