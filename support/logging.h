// How library functions report: debug traces on standard output, filtered by a level, and error
// messages in a log file, in the system log or on standard output.
//
// A default-constructed object, which is what the daemon has, prints errors on standard output
// and no traces. Files are opened for each message and closed again. No call changes errno.
#pragma once

#include <cstdarg>

class Logging {
 public:
  int debug_level = 0;
  bool show_pid = false;    // puts the process id into every line, except errors on standard output
  bool use_syslog = false;  // errors that have a log path go to the system log instead
  char* option_text = nullptr;        // owned, like the next three; not used here
  char* error_log_path = nullptr;     // null: errors go to standard output
  char* system_log_path = nullptr;    // not used here
  char* security_log_path = nullptr;  // null: allLog's first message goes to standard output
  bool option_flag = false;           // not used here

  Logging() { nullify_options(); }
  ~Logging();
  Logging(const Logging&) = delete;
  Logging& operator=(const Logging&) = delete;

  // Gives every field its default and releases nothing.
  void nullify_options();

  int get_debug_level() const { return debug_level; }

  // A trace line, printed if debug_level is at least `level`, or just `exactLevel`. Levels that
  // end in 7 (debug_level 7, 17, ...) put the time before it.
  void debug(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void debug(int exactLevel, int level, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

  // An error line, always written. Where the process may switch, it opens and writes the file as
  // the account corvadmin, or as root if there is none. It then has the effective identity it had
  // before.
  void errorLog(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // The error line, then the same as a trace at `level`.
  void errorLog_debug(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // The line in the security log, the error line, then the same as a trace at `level`.
  void allLog(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // `log`, or for null a default-constructed one.
  static Logging& orDefault(Logging* log);

 private:
  void trace(const char* message) const;
  void writeError(const char* path, const char* message);
};
