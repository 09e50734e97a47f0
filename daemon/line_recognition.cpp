#include "daemon/line_recognition.h"

#include <cstring>
#include <ctime>
#include <string_view>

#include "daemon/activity_log.h"
#include "daemon/bandwidth.h"
#include "daemon/line_date.h"
#include "daemon/login.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

// A start reads the whole log again. It ignores older ends of sessions, because an earlier run has
// recorded them.
constexpr time_t kTrafficAge_s = 1200;

// The start of the program field: behind four words and one blank. Null if the line is too short.
const char* programField(const char* line) {
  const char* p = line;
  for (int words = 0; words < 4; ++words) {
    if (*p == '\0') return nullptr;
    p = trim(p + 1);
    while (*p != '\0' && *p != ' ') ++p;
  }
  return *p == ' ' ? p + 1 : nullptr;
}

// Whether it is the last message of a server process.
bool isEnd(const char* message) {
  static constexpr std::string_view kEnds[] = {"Session",     "Socket",
                                               "Logout",      "Command stream end of file",
                                               "Fatal error", "IMAP toolkit crash"};
  return startsWithAny(message, kEnds);
}

// Whether imapd reports a login that failed. Such messages begin with the same word as a login.
bool isRefusal(const char* message) {
  static constexpr std::string_view kRefusals[] = {"Login failed", "Login disabled",
                                                   "Login excessive login failures",
                                                   "Login SYSTEM BREAK-IN ATTEMPT"};
  return startsWithAny(message, kRefusals);
}

void parseClassicLine(const char* line, const char* program) {
  const char* at = findChar(program, ' ');
  const char* bracket = findChar(program, '[');
  if (*at == '\0' || bracket > at) return;
  const char* digits = bracket + 1;
  int pid = 0;
  readInt(digits, pid);
  const char* message = at + 1;

  if (startsWith(message, "Connect"))
    getConnectData(pid, at);
  else if (startsWith(message, "imap service init"))
    getImapConnectData(pid, at);
  else if (startsWith(message, "User"))
    verifyPid(pid, line, 0);
  else if (isRefusal(message))
    return;
  else if (startsWith(message, "Login"))
    verifyPid(pid, line, 1);
  else if (isEnd(message))
    removePid(pid);
}

void parseDovecotLine(const char* line, const char* program) {
  const char* blank = findChar(program, ' ');
  if (*blank == '\0') return;
  const char* message = blank + 1;
  if (!startsWith(message, "pop3") && !startsWith(message, "imap")) return;
  const char* rest = message + strlen("imap");
  if (startsWith(rest, "-login: Login:")) {
    add_dovecot(line);
    return;
  }
  if (*rest != '(') return;
  const time_t now = time(nullptr);
  const long stamp = getTimeFromString(line);
  const long when = stamp != 0 ? stamp : static_cast<long>(now);
  if (when + kTrafficAge_s >= now) log_dovecot_bandwidth(message, when);
}

// Keeps what follows the n-th blank as the address of the process. With fewer blanks it keeps
// nothing.
void keepConnection(int pid, const char* text, int blanks) {
  const char* connection = behindChar(text, ' ', blanks);
  if (!connection) return;
  trace("gCD: pid:%d %s\n", pid, connection);
  process_ips.setParam(Decimal(pid).text, connection, true, 1, false);
}

}  // namespace

void parseLine(const char* line) {
  const char* program = programField(line);
  if (!program) return;
  if (startsWith(program, "vm-pop3d") || startsWith(program, "imapd"))
    parseClassicLine(line, program);
  else if (startsWith(program, "dovecot"))
    parseDovecotLine(line, program);
}

void getConnectData(int pid, const char* at) {
  keepConnection(pid, at + 1, 2);
}

void getImapConnectData(int pid, const char* at) {
  keepConnection(pid, at + 1, 4);
}

void removePid(int pid) {
  trace("removing pid %d\n", pid);
  process_ips.deleteParam(Decimal(pid).text, nullptr);
}
