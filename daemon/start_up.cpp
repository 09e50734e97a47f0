#include "daemon/start_up.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/stream.h"
#include "support/system.h"
#include "support/text_helpers.h"

namespace {

constexpr int kStatusCannotStart = 1;
constexpr int kStatusUsage = 5;

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
  minutes = static_cast<int>(strtoll(argument, nullptr, 10));
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
  const OwnedFile file(openStream(kPidFile, "w"));
  if (!file) {
    log("Error creating pid file");
    return;
  }
  fprintf(file.get(), "%d\n", getpid());
}

// Takes the lock that a start holds, and waits for it while another daemon starts. Returns the
// descriptor that holds the lock. The lock is free once all copies of the descriptor are closed, so
// that a start that is killed leaves nothing behind. Everybody who may read the folder can hold
// this lock, so we wait only for a while. -1 if we cannot get it; the daemon then starts without.
int lockStarts() {
  constexpr int kTries = 1000;
  constexpr timespec kPause = {0, 10'000'000};  // ten seconds in all
  const int folder = open(kPidFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder == -1) return -1;
  for (int i = 0; i < kTries; ++i) {
    if (flock(folder, LOCK_EX | LOCK_NB) == 0) return folder;
    if (errno != EWOULDBLOCK) break;
    nanosleep(&kPause, nullptr);
  }
  close(folder);
  return -1;
}

void endIfOneRuns() {
  const int pid = recordedPid();
  // A negative number is not a process; kill() would take it for a process group.
  if (pid <= 0 || kill(pid, 0) != 0) return;
  // The two blanks stay: administrators' scripts look for them.
  log("Cannot start.  PID %d is already running.", pid);
  printf("Cannot start.  PID %d is already running.\n", pid);
  exit(kStatusCannotStart);
}

// Waits until the last copy of the pipe's other end has been closed.
[[noreturn]] void endAfter(int pipe_end) {
  char none;
  while (read(pipe_end, &none, 1) == -1 && errno == EINTR) {
  }
  exit(0);
}

ssize_t discard(void*, const char*, size_t size) {
  return static_cast<ssize_t>(size);
}

// Descriptors 0 to 2 are free from here on, and the next file that is opened gets one of them. What
// the library still prints must not go into that file. The C library lets a program replace its
// standard streams, and the new ones discard everything and need no descriptor.
void closeStandardStreams() {
  cookie_io_functions_t nowhere = {};
  nowhere.write = discard;
  stdout = fopencookie(nullptr, "w", nowhere);
  stderr = fopencookie(nullptr, "w", nowhere);
  close(0);
  close(1);
  close(2);
}

// Released when memory runs out, so that there is enough for the last message.
char* reserve = nullptr;

// Nothing but a lack of memory throws.
[[noreturn]] void endWithoutMemory() {
  delete[] reserve;
  log("Out of memory: the daemon ends.");
  abort();
}

}  // namespace

void prepareProcess() {
  // Without these signals, writing to such a pipe or file is a call that fails.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  // If descriptors 0 to 2 are closed, the next files would get them, and what is printed would land
  // in one of these files.
  int file = 0;
  while (file >= 0 && file <= 2) file = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (file > 2) close(file);
  constexpr size_t kReserve = 65536;
  reserve = new char[kReserve];
  std::set_terminate(endWithoutMemory);
}

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
  const int lock = lockStarts();
  endIfOneRuns();
  int written[2] = {-1, -1};  // a pipe that is closed once the pid file has been written
  // If there is no pipe we go on: the first process then ends a moment too early.
  [[maybe_unused]] const int result = pipe2(written, O_CLOEXEC);
  const pid_t child = fork();
  if (child == -1) {
    const char* const reason = strerror(errno);
    log("Cannot start.  Unable to fork: %s", reason);
    printf("Cannot start.  Unable to fork: %s\n", reason);
    exit(kStatusCannotStart);
  }
  if (child != 0) {
    close(written[1]);
    endAfter(written[0]);
  }
  setsid();
  closeStandardStreams();
  writePidFile();
  // The lock is released first: a start that follows the end of the first process need not wait.
  for (const int descriptor : {lock, written[0], written[1]}) close(descriptor);
}
