#include "daemon/record_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

int openRecord(const char* path, int flags) {
  // Whoever may write in the folder could otherwise have root overwrite any file by a link, or
  // stand still at a pipe.
  constexpr int kSafely = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  constexpr mode_t kMode = 0666;  // less the umask, as fopen() has it
  return open(path, O_WRONLY | O_CREAT | kSafely | flags, kMode);
}

// What is no ordinary file may refuse.
void cut(int file, off_t length) {
  [[maybe_unused]] const int result = ftruncate(file, length);
}

bool mayBeLonger(int file, size_t length) {
  struct stat status;
  return fstat(file, &status) != 0 || status.st_size > static_cast<off_t>(length);
}

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

bool replaceRecord(const char* path, std::string_view record) {
  const int file = openRecord(path, 0);
  if (file == -1) return false;
  // Written over the record before, unless that would leave an end of it. Emptying the file would
  // give its block back and ask for it again, which some file systems then write to the disk at
  // once, and who reads it in between would find nothing.
  if (mayBeLonger(file, record.size())) cut(file, 0);
  const ssize_t written = write(file, record.data(), record.size());
  // Nothing of the old record stays, whatever became of the new one.
  if (written != static_cast<ssize_t>(record.size())) cut(file, std::max<ssize_t>(written, 0));
  close(file);
  return true;
}

bool appendRecord(const char* path, std::string_view record) {
  const int file = openRecord(path, O_APPEND);
  if (file == -1) return false;
  // One call, so that no reader sees a part of it. We carry on if it fails.
  [[maybe_unused]] const ssize_t written = write(file, record.data(), record.size());
  close(file);
  return true;
}
