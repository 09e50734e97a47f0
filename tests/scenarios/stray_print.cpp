// Preloaded into the daemon, prints a line whenever a file is about to be closed: what a library
// might say at the worst moment, while a record or log has been given descriptor 1.

#include <dlfcn.h>

#include <cstdio>

extern "C" int fclose(FILE* file) {
  static const auto real_fclose = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fclose"));
  printf("a stray line\n");
  fflush(stdout);
  fputs("another\n", stderr);
  return real_fclose(file);
}
