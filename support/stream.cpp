#include "support/stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace cv {
namespace {

int flagsFor(char mode) {
  switch (mode) {
    case 'w':
      return O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    case 'a':
      return O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
    default:
      return O_RDONLY | O_CLOEXEC;
  }
}

}  // namespace

FILE* openStream(const char* path, const char* mode) {
  const int flags = flagsFor(*mode);
  int file = open(path, flags | O_NONBLOCK, 0666);
  // Another process has a lease on this file. The system asks it to give the lease back, and makes
  // us wait.
  if (file == -1 && errno == EWOULDBLOCK) file = open(path, flags, 0666);
  if (file == -1) return nullptr;
  FILE* stream = fdopen(file, mode);
  if (!stream) {
    const int error = errno;
    close(file);
    errno = error;
  }
  return stream;
}

}  // namespace cv
