#include "daemon/start_up.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/stream.h"
#include "support/system.h"
#include "support/text_helpers.h"

namespace {

constexpr int kStatusRunning = 1;
constexpr int kStatusUsage = 5;

bool exists(const char* path) {
  return pathExists(path, 0, true, true) != 0;
}

const char* defaultMailLog() {
  return exists(kMailLog) ? kMailLog : kMailLogOtherwise;
}

[[noreturn]] void endWithUsage(const char* program) {
  printf(
      "Usage: %s <option>\n"
      "options (optional):\n"
      "\ts: run in standalone mode, used for debugging, to see whats going on.\n"
      "\tt <num>: set the timeout, where <num> is a number, in minutes. Default: %d\n"
      "\tf <file>: file to parse (default: %s)\n"
      "\t?: help, this screen\n",
      program, minutes, defaultMailLog());
  exit(kStatusUsage);
}

void setMinutes(const char* argument) {
  minutes = static_cast<int>(strtol(argument, nullptr, 10));
  log("Using set timeout value: %d minutes", minutes);
}

void setMailLog(const char* argument) {
  delString(log_file);
  log_file = newString(argument);
  log("Using set log file: %s", log_file);
  if (!exists(log_file)) log("Warning: logfile '%s' does not exist", log_file);
}

// The process id in the pid file, 0 if there is none.
int recordedPid() {
  if (!exists(kPidFile)) return 0;
  const OwnedText content(getDataFromFile(&logging, nullptr, kPidFile, 0, false));
  const char* text = content.get();
  int pid = 0;
  if (text) readInt(text, pid);
  return pid;
}

void writePidFile() {
  const OwnedFile file(fopen(kPidFile, "w"));
  if (!file) {
    log("Error creating pid file");
    return;
  }
  fprintf(file.get(), "%d\n", getpid());
}

ssize_t discard(void*, const char*, size_t size) {
  return static_cast<ssize_t>(size);
}

// Descriptors 0 to 2 are free from here on, and the next file opened gets one of them: what the
// library still prints must go nowhere instead of into that file. The C library lets a program
// exchange its standard streams for others, and these need no descriptor.
void closeStandardStreams() {
  cookie_io_functions_t nowhere = {};
  nowhere.write = discard;
  stdout = fopencookie(nullptr, "w", nowhere);
  stderr = fopencookie(nullptr, "w", nowhere);
  close(0);
  close(1);
  close(2);
}

}  // namespace

void readArguments(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const char option = argv[i][0];
    const bool takes_value = option == 't' || option == 'f';
    if (option == 's')
      is_daemon = 0;
    else if (!takes_value || i + 1 == argc)
      endWithUsage(argv[0]);
    else if (option == 't')
      setMinutes(argv[++i]);
    else
      setMailLog(argv[++i]);
  }
  if (!log_file) log_file = newString(defaultMailLog());
}

void setDaemon() {
  const int pid = recordedPid();
  // A negative number is no process; kill() would take it for a group of them.
  if (pid > 0 && kill(pid, 0) == 0) {
    log("Cannot start.  PID %d is already running.", pid);
    printf("Cannot start.  PID %d is already running.\n", pid);
    exit(kStatusRunning);
  }
  const pid_t child = fork();
  if (child == -1) {
    log("Cannot start.  Unable to fork: %s", strerror(errno));
    exit(kStatusRunning);
  }
  if (child != 0) exit(0);
  setsid();
  closeStandardStreams();
  writePidFile();
}
