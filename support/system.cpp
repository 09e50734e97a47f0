#include "support/system.h"

#include <fcntl.h>
#include <grp.h>
#include <libintl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/time.h>
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
#include "support/stream.h"
#include "support/text_helpers.h"

char* system_res = nullptr;
bool is_in_chroot = false;
ConfigFile sys_path_exists_cache(nullptr, nullptr, 16);

namespace {

constexpr int kUnknownId = 9999;
constexpr long long kProcFileSize = 32760;

constexpr unsigned int kAnyId = static_cast<unsigned int>(-1);
constexpr int kOwnerTrace = 229;  // the debug level that traces changes of ownership alone

void clearReasons() {
  delString(system_res);
  system_res = newString("");
}

// mkdir(), with just this mode, whatever the umask.
int makeFolder(const char* path, unsigned int mode) {
  const mode_t mask = umask(0);
  const int result = mkdir(path, mode);
  const int error = errno;
  umask(mask);
  errno = error;
  return result;
}

// Sets the bits that mkdir() leaves out: those of set-id, and those that the parent's access list
// takes away. If a link has replaced the folder, it does nothing. We go on if it fails: the folder
// is there.
void setMode(const char* path, unsigned int mode) {
  const int folder = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder == -1) return;
  [[maybe_unused]] const int result = fchmod(folder, mode);
  close(folder);
}

int changeOwner(Logging& report, const char* path, int uid, int gid, const char* which) {
  if (lchown(path, static_cast<uid_t>(uid), static_cast<gid_t>(gid)) == 0) return 1;
  if (report.debug_level == kOwnerTrace)
    report.debug(kOwnerTrace, "setOwner: %s: %s error: %s", path, which, strerror(errno));
  return 0;
}

// Gives the entry its name back. False, with a message, if that fails.
bool moveBack(Logging& report, const char* aside, const char* path) {
  if (rename(aside, path) == 0) return true;
  report.errorLog_debug(100, "setOwner(secure_chown): error renaming %s back to %s: %s", aside,
                        path, strerror(errno));
  return false;
}

// Changes the owner under a name that nobody else knows.
int setOwnerAside(Logging& report, const char* path, int uid, int gid, int required_uid,
                  int required_gid) {
  const OwnedText aside(get_random_temp_file(&report, path));
  if (!aside) return 0;
  if (rename(path, aside.get()) != 0) {
    report.errorLog_debug(100, "setOwner(secure_chown): error renaming %s to %s: %s", path,
                          aside.get(), strerror(errno));
    return 0;
  }
  const bool requires_owner = required_uid != -1 || required_gid != -1;
  if (requires_owner && !isOwner(&report, aside.get(), static_cast<unsigned>(required_uid),
                                 static_cast<unsigned>(required_gid))) {
    if (report.debug_level == kOwnerTrace)
      report.debug(kOwnerTrace,
                   "setOwner: %s: owner of file is not uid=%d or gid=%d AFTER the rename, so will "
                   "not chown.",
                   aside.get(), required_uid, required_gid);
    report.allLog(
        2500,
        "setOwner(%s): owner of file is not uid=%d or gid=%d AFTER the rename, so will not chown.",
        aside.get(), required_uid, required_gid);
    moveBack(report, aside.get(), path);
    return 0;
  }
  const int result = changeOwner(report, aside.get(), uid, gid, "lchown2");
  return moveBack(report, aside.get(), path) ? result : 0;
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
    case ELOOP:  // the two blanks are how this text has always read
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

int pathExists(const char* path, int use_cache, bool clear_result, bool explain) {
  if (clear_result) clearReasons();
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
    Logging::orDefault(log).debug(4000, "returned cache: %s", path);
    if (save_in_cache == 1) return newString(known);
    if (save_in_cache == 2) return known;
  }
  if (!pathExists(path, 0, true, true)) return nullptr;
  const OwnedFile file(openStream(path, "r"));
  if (!file) {
    Logging::orDefault(log).errorLog_debug(2500, "Unable to get data from file: %s: %s", path,
                                           strerror(errno));
    return nullptr;
  }
  long long size = fileSize(log, file.get());
  if (size == 0 && proc_style) size = kProcFileSize;
  if (limits && size > limits->max_read_to_memory_size) {
    Logging::orDefault(log).errorLog_debug(
        100,
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
  Logging::orDefault(log).debug(3000, "fileSize(*fp): fstat error: %s", strerror(errno));
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
  if (seteuid(0) != 0) return 0;
  [[maybe_unused]] int group_taken = setegid(0);
  const int uid = getUID(user);
  const int gid = getGID(user, 0);
  if (uid == kUnknownId || gid == kUnknownId) {
    const char* which = uid == kUnknownId ? "uid" : "gid";
    if (report)
      Logging::orDefault(log).errorLog("Sys:setUserPriv(%s):%s==%d\n", printable(user), which,
                                       kUnknownId);
    Logging::orDefault(log).debug(500, "Sys:setUserPriv(%s):%s==%d\n", printable(user), which,
                                  kUnknownId);
    return 0;
  }
  group_taken = setegid(static_cast<gid_t>(gid));
  return seteuid(static_cast<uid_t>(uid)) == 0;
}

int setRootPriv() {
  [[maybe_unused]] const int group_taken = setegid(0);
  return seteuid(0) == 0;
}

int createDir(Logging* log, const char* path, const char* owner, unsigned int mode,
              bool clear_result) {
  if (clear_result) clearReasons();
  if (!path || *path == '\0') {
    addResult(&system_res, "<b>the path was null or empty</b>");
    return 0;
  }
  int result = 1;
  const int error = makeFolder(path, mode) == 0 ? 0 : errno;
  if (error == 0) {
    setMode(path, mode);
  } else {
    const OwnedText reason(newStringf(gettext("mkdir(%s) error: %s"), path, strerror(error)));
    addResult(&system_res, reason.get());
    result = error == EEXIST ? 2 : 0;
  }
  if (owner) setOwner(log, path, owner, 1, false);
  if (error != 0) errno = error;
  return result;
}

int setOwner(Logging* log, const char* path, int uid, int gid, int refuse_hard_links, bool secure,
             int required_uid, int required_gid) {
  Logging& report = Logging::orDefault(log);
  if (!path || *path == '\0') {
    report.debug(10, "setOwner: blank path to try and set uid=%d gid=%d", uid, gid);
    return 0;
  }
  if (report.debug_level == kOwnerTrace)
    report.debug(kOwnerTrace, "setOwner: %s to %d:%d", path, uid, gid);

  struct stat status;
  if (lstat(path, &status) != 0) {
    report.debug(10, "setOwner:%s:to uid=%d gid=%d: lstat error: %s", path, uid, gid,
                 strerror(errno));
    return 0;
  }
  if (isOwner(status, static_cast<unsigned>(uid), static_cast<unsigned>(gid))) {
    report.debug(
        kOwnerTrace, 2500,
        "setOwner:%s: to uid=%d gid=%d: file already had correct ownership. Not touching it.", path,
        uid, gid);
    return 1;
  }
  const int links = refuse_hard_links ? isHardLink(status) : 0;
  if (links > 0) {
    report.allLog(
        10, "HardLink found on %s (%d links).  Was attempting to be reset to owner UID(%d) GID(%d)",
        path, links, uid, gid);
    return 0;
  }
  const bool requires_owner = required_uid != -1 || required_gid != -1;
  if (requires_owner &&
      !isOwner(status, static_cast<unsigned>(required_uid), static_cast<unsigned>(required_gid))) {
    report.debug(kOwnerTrace, 2500,
                 "setOwner(%s): owner of file is not uid=%d or gid=%d, so will not chown.", path,
                 required_uid, required_gid);
    return 0;
  }
  if (secure) return setOwnerAside(report, path, uid, gid, required_uid, required_gid);
  return changeOwner(report, path, uid, gid, "lchown1");
}

int setOwner(Logging* log, const char* path, const char* user, int refuse_hard_links, bool secure) {
  const passwd* account = user ? getpwnam(user) : nullptr;
  if (!account) return 0;
  return setOwner(log, path, static_cast<int>(account->pw_uid), static_cast<int>(account->pw_gid),
                  refuse_hard_links, secure, -1, -1);
}

int setOwner(Logging* log, const char* path, const char* user, const char* group,
             int refuse_hard_links, bool secure, const char* required_user,
             const char* required_group) {
  return setOwner(log, path, getUID(user), getGID(group, 1), refuse_hard_links, secure,
                  required_user ? getUID(required_user) : -1,
                  required_group ? getGID(required_group, 1) : -1);
}

int isOwner(struct stat& status, unsigned int uid, unsigned int gid) {
  return (gid == kAnyId || gid == status.st_gid) && (uid == kAnyId || uid == status.st_uid);
}

int isOwner(Logging* log, const char* path, unsigned int uid, unsigned int gid) {
  Logging& report = Logging::orDefault(log);
  if (!path || *path == '\0') return 0;
  const int shown_uid = static_cast<int>(uid);
  const int shown_gid = static_cast<int>(gid);
  if (uid == kAnyId && gid == kAnyId) {
    report.debug(1000, "isOwner(%s, user=%d, group=%d): both uid and gid checks are -1.", path,
                 shown_uid, shown_gid);
    return 0;
  }
  struct stat status;
  if (stat(path, &status) != 0) {
    report.debug(1000, "isOwner(%s, user=%d, group=%d): stat error: %s (euid=%d)", path, shown_uid,
                 shown_gid, strerror(errno), static_cast<int>(geteuid()));
    return 0;
  }
  return isOwner(status, uid, gid);
}

int isHardLink(struct stat& status) {
  if (S_ISDIR(status.st_mode) || status.st_nlink < 2) return 0;
  return static_cast<int>(status.st_nlink);
}

void randseed() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  srand(static_cast<unsigned>(now.tv_sec) + static_cast<unsigned>(now.tv_usec));
}

char getRandChar(bool special) {
  // NOLINTNEXTLINE(cert-msc30-c,cert-msc50-cpp): the header says that these are no secrets.
  const auto r = static_cast<unsigned>(rand());
  static constexpr char kAlphanumeric[] =
      "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  if (!special) return kAlphanumeric[r % 62];
  const unsigned n = r % 92;
  if (n < 14) return static_cast<char>('!' + n);       // up to the last before '/'
  if (n < 58) return static_cast<char>('0' + n - 14);  // up to the last before '\\'
  return static_cast<char>(']' + n - 58);
}

char* getRandString(int length, bool special) {
  randseed();
  char* text = newString(nullptr, length);
  for (int i = 0; i < length; ++i) text[i] = getRandChar(special);
  return text;
}

char* get_random_temp_file(Logging* log, const char* path) {
  constexpr int kTries = 19;
  for (int i = 0; i < kTries; ++i) {
    const OwnedText random(getRandString(8, false));
    OwnedText name(newString(3, path, ".", random.get()));
    if (!pathExists(name.get(), 0, false, false)) return name.release();
  }
  Logging::orDefault(log).errorLog_debug(
      100,
      "get_random_temp_file(%s): cannot generate a random filename that "
      "doesn't exist (too many tries)",
      path);
  return nullptr;
}
