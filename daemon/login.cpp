#include "daemon/login.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "daemon/activity_log.h"
#include "daemon/last_login.h"
#include "daemon/line_date.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

constexpr int kLongestClassicName = 100;
constexpr int kLongestDovecotName = 256;
constexpr int kLongestClassicAddress = 16;
constexpr int kLongestDovecotAddress = 20;
constexpr char kLoopback[] = "127.0.0.1";

// --- Freshness ---

void traceDate(const char* label, time_t when) {
  trace("%s%d %s", label, static_cast<int>(when), printable(ctime(&when)));
}

bool isFresh(const char* line, long then) {
  const time_t now = time(nullptr);  // 64 bits also where a long has 32
  if (then + time_t{lifetime_s()} >= now) return true;
  if (is_daemon) return false;
  trace("DENIED: %s\n", line);
  traceDate("now: ", now);
  traceDate("then: ", then);
  return false;
}

// --- Classic servers ---

// The address on a login line whose process has no connect line. It begins behind the sixth blank
// after the process id, or two words later if the word there begins with "in". Null if the line is
// too short.
const char* addressOnLine(const char* line) {
  const char* message = behindChar(line, ']', 1);
  const char* word = message ? behindChar(message, ' ', 6) : nullptr;
  return word && startsWith(word, "in") ? behindChar(word, ' ', 2) : word;
}

// Puts the user of a "Login user=name ..." line into email_buff. False if no blank ends the name.
bool readImapUser(const char* line) {
  const char* equals = findChar(line, '=');
  if (*equals == '\0') return true;
  const OwnedText user(newStringUntil(equals + 1, ' ', kLongestClassicName, 0));
  if (!user) return false;
  snprintf(email_buff, sizeof email_buff, "%s", user.get());
  return true;
}

// Puts the user of a "User 'name' of 'domain' ..." line into email_buff, "name@domain" or only
// the name if there is no domain. False if no quote ends one of them.
bool readQuotedUser(const char* line) {
  const char* open = findChar(line, '\'');
  if (*open == '\0') return true;
  const OwnedText name(newStringUntil(open + 1, '\'', kLongestClassicName, 0));
  if (!name) return false;
  snprintf(email_buff, sizeof email_buff, "%s", name.get());

  // The search for the closing quote begins one character late. If the name is empty, it therefore
  // finds the opening quote of the domain.
  const char* close = findChar(open + 2, '\'');
  const char* next = *close == '\0' ? close : findChar(close + 1, '\'');
  if (*next == '\0') return true;
  const OwnedText domain(newStringUntil(next + 1, '\'', kLongestClassicName, 0));
  if (!domain) return false;
  snprintf(email_buff, sizeof email_buff, "%s@%s", name.get(), domain.get());
  return true;
}

// The address of the process, owned by process_ips; null if none could be found.
const char* addressOfProcess(const char* key, const char* line) {
  if (const char* known = process_ips.getValue(key)) return known;
  const char* rest = addressOnLine(line);
  if (!rest) return nullptr;
  const OwnedText ip(newStringUntil(rest, ',', kLongestClassicAddress, 0));
  trace("ptr: %s, ip: %s\n", rest, printable(ip.get()));
  // A missing address is kept as an empty text, so that later lines of the process do not look
  // again.
  process_ips.setParam(key, ip.get(), true, 1, false);
  return process_ips.getValue(key);
}

// --- Dovecot ---

// The address behind "rip=", or null.
char* newDovecotAddress(const char* text) {
  const char* field = findString(text, "rip=", 1);
  if (*field == '\0') return nullptr;
  return newStringUntil(findChar(field, '=') + 1, ',', kLongestDovecotAddress, 0);
}

}  // namespace

int isIP(const char* text) {
  if (!text || *text == '\0' || text[strspn(text, "0123456789.")] != '\0') return 0;
  for (int i = 0; i < 4; ++i) {
    int number = -1;
    if (i > 0 && *text++ != '.') return 0;
    if (!readInt(text, number) || number > 255 || (i == 0 && number < 1)) return 0;
  }
  return 1;
}

void verifyPid(int pid, const char* line, int isImap) {
  const Decimal key(pid);
  const long then = getTimeFromString(line);
  if (!isFresh(line, then)) return;

  memset(email_buff, 0, sizeof email_buff);
  if (!(isImap ? readImapUser(line) : readQuotedUser(line))) return;
  const char* ip = addressOfProcess(key.text, line);
  if (!ip) return;
  if (!isIP(ip)) {
    trace("'%s' is not an IP, thus not adding it to the list\n", ip);
    return;
  }
  const int seconds = static_cast<int>(then);
  if (strcomp(ip, kLoopback) == 0) {
    if (!is_daemon)
      trace("Ignoring %s=%d for pid %d (%s) user: %s\n", ip, seconds, pid, key.text,
            printable(user_list.getValue(ip)));
    return;
  }
  if (*email_buff != '\0') {
    user_list.setParam(ip, email_buff, true, 1, false);
    log_last_login(email_buff, ip, then);
  }
  if (!is_daemon)
    trace("setting: %s=%d for pid %d (%s) user: %s\n", ip, seconds, pid, key.text,
          printable(user_list.getValue(ip)));
  host_list.setParam(ip, seconds);
}

void add_dovecot(const char* line) {
  const long then = getTimeFromString(line);
  if (!isFresh(line, then)) return;

  const char* open = findChar(line, '<');
  if (*open == '\0') return;
  const OwnedText user(newStringUntil(open + 1, '>', kLongestDovecotName, 0));
  if (!user) return;
  const char* close = open + 1 + strlen(user.get());
  const OwnedText ip(newDovecotAddress(close));
  if (!ip) return;

  if (strcomp(ip.get(), kLoopback) == 0) {
    // It is not admitted but, unlike a classic login, it is recorded: webmail logs in from here.
    trace("Ignoring %s for %s\n", ip.get(), user.get());
    log_last_login(user.get(), ip.get(), then);
    return;
  }
  trace("Adding %s %s\n", user.get(), ip.get());
  if (!isIP(ip.get())) {
    trace("'%s' is not an IP, thus not adding it to the list\n", ip.get());
    return;
  }
  host_list.setParam(ip.get(), static_cast<int>(then));
  user_list.setParam(ip.get(), user.get(), true, 1, false);
  log_last_login(user.get(), ip.get(), then);
}
