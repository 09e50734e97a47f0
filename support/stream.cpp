#include "support/stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace cv {

FILE* openStream(const char* path, const char* mode) {
  const int flags = (*mode == 'w' ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY) | O_CLOEXEC;
  int file = open(path, flags | O_NONBLOCK, 0666);
  // Somebody has a lease on this file, and gives it back when we wait.
  if (file == -1 && errno == EWOULDBLOCK) file = open(path, flags, 0666);
  if (file == -1) return nullptr;
  FILE* stream = fdopen(file, mode);
  if (!stream) close(file);
  return stream;
}

}  // namespace cv
