#include "support/system.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "support/config.h"
#include "support/configfile.h"
#include "support/cv_string.h"
#include "support/logging.h"
#include "support/owned_text.h"

char* system_res = nullptr;
bool is_in_chroot = false;
ConfigFile sys_path_exists_cache(nullptr, nullptr, 16);

namespace {

constexpr int kUnknownId = 9999;
constexpr int kSpareBytes = 32;  // readLine keeps at least so many free behind the text
constexpr long long kProcFileSize = 32760;

// Doubles `buffer`, keeping its first `used` bytes as they are, NUL bytes included.
void doubleBuffer(char*& buffer, int& size, int used) {
  const int doubled = 2 * size;
  char* larger = newString(nullptr, doubled);
  memcpy(larger, buffer, static_cast<size_t>(used));
  delString(buffer);
  buffer = larger;
  size = doubled;
}

// Puts the bytes of one line into the caller's buffer and lets it grow as readLine() promises.
class LineInBuffer {
 public:
  LineInBuffer(Logging* log, char*& buffer, int& size, int max_length)
      : log_(log), buffer_(buffer), size_(size), max_length_(max_length) {}

  // Takes as many of the n bytes as belong to this line, and says how many.
  long take(const char* bytes, long n) {
    long taken = 0;
    while (taken < n && !full_) {
      const int room = std::max(1, size_ - kSpareBytes + 1 - stored_);
      const int piece = static_cast<int>(std::min<long>(n - taken, room));
      memcpy(buffer_ + stored_, bytes + taken, static_cast<size_t>(piece));
      stored_ += piece;
      taken += piece;
      if (size_ - stored_ < kSpareBytes) makeRoom();
    }
    return taken;
  }

  // No more fits, or may.
  bool full() const { return full_; }
  int stored() const { return stored_; }

  // The newline has come: a carriage return before it is no part of the text.
  void endLine() {
    if (stored_ > 0 && buffer_[stored_ - 1] == '\r') buffer_[stored_ - 1] = '\0';
  }

 private:
  void makeRoom() {
    if (max_length_ > 0 && stored_ > max_length_) {
      full_ = true;
      if (log_)
        log_->errorLog_debug(
            100, "Line length (%d) is greater than max line length (%d). Chopping value.", stored_,
            max_length_);
    } else if (size_ <= INT_MAX / 2) {
      doubleBuffer(buffer_, size_, stored_);
    } else if (stored_ == size_ - 1) {
      full_ = true;
      if (log_)
        log_->errorLog_debug(1,
                             "readLine: read %d characters, and have max=%d. Max should have been "
                             "increased well before this point. Please report to "
                             "support@corvane.example.\nLast buffer was: '%s'",
                             stored_, size_, buffer_);
    }
  }

  Logging* log_;
  char*& buffer_;
  int& size_;
  const int max_length_;
  int stored_ = 0;
  bool full_ = false;
};

// A line of any length, fetched whole by the C library's block-wise search for the newline: a
// start-up scan reads gigabytes. False at the end of input.
bool readWholeLine(FILE* in, LineInBuffer& line) {
  static char* fetched = nullptr;  // one for all calls; getline() enlarges it
  static size_t fetched_size = 0;
  const ssize_t length = getline(&fetched, &fetched_size, in);
  if (length <= 0) return false;
  const bool ended = fetched[length - 1] == '\n';
  const ssize_t text_length = length - (ended ? 1 : 0);
  const long taken = line.take(fetched, text_length);
  if (taken < text_length)
    fseeko(in, taken - length, SEEK_CUR);  // the rest is the next line
  else if (ended)
    line.endLine();
  return true;
}

// A line that may have to be chopped: nothing behind the cut may be fetched, for `in` need not be
// a file in which we could go back. False at the end of input.
bool readLimitedLine(FILE* in, LineInBuffer& line) {
  while (!line.full()) {
    const int c = getc(in);
    if (c == EOF) return line.stored() > 0;
    if (c == '\n') {
      line.endLine();
      return true;
    }
    const char byte = static_cast<char>(c);
    line.take(&byte, 1);
  }
  return true;
}

const char* reasonForMissing(int error) {
  switch (error) {
    case ENOENT:
      return "A component of the path file_name does not exist, or the path is an empty string.";
    case EBADF:
      return "filedes is bad";
    case ENOMEM:
      return "Out of memory (i.e. kernel memory).";
    case EACCES:
      return "Permission denied.";
    case EFAULT:
      return "Bad address.";
    case ENOTDIR:
      return "A component of the path is not a directory.";
    case ENAMETOOLONG:
      return "File name too long.";
    case ELOOP:
      return "Too many symbolic links encountered while  traversing the path.";
    default:
      return "Unknown error";
  }
}

// Up to `size` bytes of `file` as a new text.
char* readText(FILE* file, long long size, bool nul_to_newline) {
  char* text = new char[static_cast<size_t>(size) + 1]();
  size_t length = 0;
  while (const size_t n = fread(text + length, 1, static_cast<size_t>(size) - length, file))
    length += n;
  if (nul_to_newline) std::replace(text, text + length, '\0', '\n');
  return text;
}

}  // namespace

bool has_chrooted() {
  return is_in_chroot;
}

int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength) {
  int in_use = size;
  return readLine(log, in, buffer, size, maxLength, in_use);
}

int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength, int& in_use) {
  memset(buffer, 0, static_cast<size_t>(std::clamp(in_use, 0, std::max(size, 0))));
  in_use = 0;
  if (size < 2) return -1;  // no room for a character and its NUL
  LineInBuffer line(log, buffer, size, maxLength);
  const bool found = maxLength > 0 ? readLimitedLine(in, line) : readWholeLine(in, line);
  in_use = line.stored();
  return found ? line.stored() : -1;
}

int pathExists(const char* path, int use_cache, bool clear_result, bool explain) {
  if (clear_result) {
    delString(system_res);
    system_res = newString("");
  }
  if (!path || *path == '\0') {
    if (explain) addResult(&system_res, "Path is empty or null");
    return 0;
  }
  if (use_cache) {
    const char* known = sys_path_exists_cache.getValue(path);
    if (known) return strcmp(known, "1") == 0;
  }
  struct stat status;
  const bool exists = stat(path, &status) == 0;
  if (!exists && explain) addResult(&system_res, reasonForMissing(errno));
  if (use_cache) sys_path_exists_cache.setParam(path, exists ? "1" : "0", true, 1, false);
  return exists;
}

char* getDataFromFile(Logging* log, Config* limits, const char* path, int save_in_cache,
                      bool proc_style) {
  static ConfigFile sys_get_data_from_file_cache(log, nullptr, 16);
  if (!path || *path == '\0') return nullptr;
  char* known = save_in_cache ? sys_get_data_from_file_cache.getValue(path) : nullptr;
  if (known) {
    if (log) log->debug(4000, "returned cache: %s", path);
    if (save_in_cache == 1) return newString(known);
    if (save_in_cache == 2) return known;
  }
  if (!pathExists(path, 0, true, true)) return nullptr;
  const OwnedFile file(fopen(path, "r"));
  if (!file) {
    const int error = errno;
    if (log)
      log->errorLog_debug(2500, "Unable to get data from file: %s: %s", path, strerror(error));
    return nullptr;
  }
  long long size = fileSize(log, file.get());
  if (size == 0 && proc_style) size = kProcFileSize;
  if (limits && size > limits->max_read_to_memory_size) {
    if (log)
      log->errorLog_debug(100,
                          "getDataFromFile(conf, '%s', save_in_cache=%d): file size (%lld) > "
                          "max_read_to_memory_size (%lld)",
                          path, save_in_cache, size, limits->max_read_to_memory_size);
    return nullptr;
  }
  char* text = readText(file.get(), size, proc_style);
  if (save_in_cache) sys_get_data_from_file_cache.setParam(path, text, true, 1, false);
  return text;
}

long long fileSize(Logging* log, FILE* file) {
  struct stat status;
  if (fstat(fileno(file), &status) == 0) return status.st_size;
  const int error = errno;
  if (log) log->debug(3000, "fileSize(*fp): fstat error: %s", strerror(error));
  return 0;
}

int getUID(const char* user) {
  if (!user || *user == '\0') return kUnknownId;
  if (strcmp(user, "root") == 0) return 0;
  const passwd* account = getpwnam(user);
  return account ? static_cast<int>(account->pw_uid) : kUnknownId;
}

int getGID(const char* name, int is_group) {
  if (!name || *name == '\0') return kUnknownId;
  if (strcmp(name, "root") == 0) return 0;
  if (is_group) {
    const group* found = getgrnam(name);
    return found ? static_cast<int>(found->gr_gid) : kUnknownId;
  }
  const passwd* account = getpwnam(name);
  return account ? static_cast<int>(account->pw_gid) : kUnknownId;
}

int setUserPriv(Logging* log, const char* user, int report) {
  const uid_t found_uid = geteuid();
  const gid_t found_gid = getegid();
  if (seteuid(0) != 0) return 0;
  const int uid = getUID(user);
  const int gid = getGID(user, 0);
  const bool known = uid != kUnknownId && gid != kUnknownId;
  if (setegid(0) == 0 && known && setegid(static_cast<gid_t>(gid)) == 0 &&
      seteuid(static_cast<uid_t>(uid)) == 0)
    return 1;
  if (!known && log) {
    const char* which = uid == kUnknownId ? "uid" : "gid";
    if (report) log->errorLog("Sys:setUserPriv(%s):%s==%d\n", printable(user), which, kUnknownId);
    log->debug(500, "Sys:setUserPriv(%s):%s==%d\n", printable(user), which, kUnknownId);
  }
  if (setegid(found_gid) != 0 || seteuid(found_uid) != 0) return 0;
  return 0;
}

int setRootPriv() {
  const gid_t found_gid = getegid();
  const bool group_changed = setegid(0) == 0;
  if (seteuid(0) == 0) return 1;
  if (group_changed && setegid(found_gid) != 0) return 0;
  return 0;
}
