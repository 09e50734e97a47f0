#include "support/logging.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "support/cv_string.h"
#include "support/log.h"
#include "support/stream.h"
#include "support/system.h"
#include "support/text_helpers.h"

namespace {

// While it lives, the process acts as the account that owns the log files; afterwards as before. If
// there is no such account it acts as root. If the process may not switch, nothing changes.
class AsLogOwner {
 public:
  explicit AsLogOwner(Logging* log) { setUserPriv(log, "corvadmin", 0); }
  ~AsLogOwner() {
    setRootPriv();
    // A process can always go back to the identity it had. If it failed, nobody could be told.
    if (setegid(gid_) != 0 || seteuid(uid_) != 0) return;
  }
  AsLogOwner(const AsLogOwner&) = delete;
  AsLogOwner& operator=(const AsLogOwner&) = delete;

 private:
  const uid_t uid_ = geteuid();
  const gid_t gid_ = getegid();
};

class KeptErrno {
 public:
  ~KeptErrno() { errno = found_; }

 private:
  const int found_ = errno;
};

}  // namespace

Logging::~Logging() {
  delString(option_text, error_log_path);
  delString(system_log_path, security_log_path);
}

void Logging::nullify_options() {
  debug_level = 0;
  show_pid = false;
  use_syslog = false;
  option_text = nullptr;
  error_log_path = nullptr;
  system_log_path = nullptr;
  security_log_path = nullptr;
  option_flag = false;
}

void Logging::debug(int level, const char* format, ...) {
  if (debug_level < level) return;
  va_list args;
  va_start(args, format);
  const OwnedText message(newStringv(format, args));
  va_end(args);
  trace(message.get());
}

void Logging::debug(int exactLevel, int level, const char* format, ...) {
  if (debug_level < level && debug_level != exactLevel) return;
  va_list args;
  va_start(args, format);
  const OwnedText message(newStringv(format, args));
  va_end(args);
  trace(message.get());
}

void Logging::errorLog(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const OwnedText message(newStringv(format, args));
  va_end(args);
  writeError(error_log_path, message.get());
}

void Logging::errorLog_debug(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const OwnedText message(newStringv(format, args));
  va_end(args);
  writeError(error_log_path, message.get());
  if (debug_level >= level) trace(message.get());
}

void Logging::allLog(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const OwnedText message(newStringv(format, args));
  va_end(args);
  writeError(security_log_path, message.get());
  writeError(error_log_path, message.get());
  if (debug_level >= level) trace(message.get());
}

void Logging::trace(const char* message) const {
  const KeptErrno kept;
  const OwnedText prefix(show_pid ? newStringf("[%d]:", getpid()) : newString(""));
  if (debug_level % 10 != 7) {
    printf("%s%s\n", prefix.get(), message);
    return;
  }
  const time_t now = time(nullptr);
  const char* stamp = ctime(&now);
  const int stamp_length = stamp ? static_cast<int>(strcspn(stamp, "\n")) : 0;
  printf("%.*s%s: %s\n", stamp_length, stamp ? stamp : "", prefix.get(), message);
}

void Logging::writeError(const char* path, const char* message) {
  const KeptErrno kept;
  const AsLogOwner as_log_owner(this);
  if (!path) {
    printf("%s\n", message);
    return;
  }
  if (use_syslog) {
    syslog(LOG_ERR, "%s", message);
    return;
  }
  const OwnedText prefix(show_pid ? newStringf(":[%d]", getpid()) : newString(""));
  const OwnedText line(newStringf("%s%s: %s\n", Log::getLogTime(), prefix.get(), message));
  const OwnedFile file(fopen(path, "a"));
  if (file) {
    fputs(line.get(), file.get());
    return;
  }
  if (!has_chrooted()) debug(1, "Error opening %s: %s", path, strerror(errno));
  if (debug_level > 9) printf("%s", line.get());
}

Logging& Logging::orDefault(Logging* log) {
  static Logging quiet;
  return log ? *log : quiet;
}
