// Open files.
#pragma once

#include <cstdio>
#include <memory>

namespace cv {

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};

// A file that is closed when its holder goes; null if it could not be opened.
using OwnedFile = std::unique_ptr<FILE, CloseFile>;

// As fopen() for "r", "w" or "a": a stream that the caller closes, or null with the reason in
// errno. A folder can be opened for reading; reading it then fails.
//
// It never waits for the other end of a pipe. For reading, a pipe without a writer is empty. For
// writing, a pipe without a reader cannot be opened (ENXIO), and what does not fit into a full pipe
// is lost (EAGAIN). It does wait until another process gives back its lease on the file.
FILE* openStream(const char* path, const char* mode);

}  // namespace cv

using namespace cv;
