#include "daemon/record_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

bool leavesItsFolder(std::string_view part) {
  return part == "." || part == ".." || part.find('/') != part.npos;
}

// A regular file for a record, open for writing while this object lives. Whoever may write in the
// folder could put a link there, and have root overwrite any file; or a pipe, and make root wait.
class RecordFile {
 public:
  RecordFile(const char* path, int flags) {
    constexpr int kSafely = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    constexpr mode_t kMode = 0666;  // less the umask, as fopen() has it
    file_ = open(path, O_WRONLY | O_CREAT | kSafely | flags, kMode);
    if (file_ == -1) return;
    struct stat status;
    if (fstat(file_, &status) != 0)
      giveUp(errno);
    else if (!S_ISREG(status.st_mode))
      giveUp(ENXIO);  // as open() says of a pipe without a reader
    else
      size_ = status.st_size;
  }
  ~RecordFile() {
    if (file_ != -1) close(file_);
  }
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  bool isOpen() const { return file_ != -1; }  // if not, errno says why
  off_t size() const { return size_; }         // when it was opened

  // One call of write(), so that no reader sees a part of the text, unless the disk is full.
  ssize_t put(std::string_view text) const { return write(file_, text.data(), text.size()); }

  // If it fails we go on, as with a record that cannot be written.
  void cut(off_t length) const { [[maybe_unused]] const int result = ftruncate(file_, length); }

 private:
  void giveUp(int error) {
    close(file_);
    file_ = -1;
    errno = error;
  }

  int file_ = -1;
  off_t size_ = 0;
};

}  // namespace

LoginName::LoginName(const char* name) : whole(name) {
  const char* at = findChar(name, '@');
  local = {name, at};
  domain = *at == '@' ? at + 1 : nullptr;
}

char* LoginName::newPath(std::string_view below, std::string_view file) const {
  return domain ? newJoined({kDomains, "/", domain, below, file})
                : newJoined({kPanelUsers, local, below, file});
}

bool refuseName(const char* caller, const LoginName& name) {
  if (!leavesItsFolder(name.local) && !(name.domain && leavesItsFolder(name.domain))) return false;
  log("%s: refused '%s': as a path it would leave its folder", caller,
      escaped(name.whole, "\\'").c_str());
  return true;
}

bool replaceRecord(const char* path, std::string_view record, const std::function<void()>& opened) {
  const RecordFile file(path, 0);
  if (!file.isOpen()) return false;
  if (opened) opened();
  // We write over the old record, and empty the file only if the old record is longer. Emptying it
  // frees its block and asks for one again, which some file systems write to the disk at once; and
  // who reads the file in between finds nothing.
  if (file.size() > static_cast<off_t>(record.size())) file.cut(0);
  const ssize_t written = file.put(record);
  // No part of the old record may stay, even if the new one was not written whole.
  if (written != static_cast<ssize_t>(record.size())) file.cut(std::max<ssize_t>(written, 0));
  return true;
}

bool appendRecord(const char* path, std::string_view record) {
  const RecordFile file(path, O_APPEND);
  if (!file.isOpen()) return false;
  file.put(record);  // if it fails we go on
  return true;
}
