#include "why/judgement.h"

#include <cstdarg>

#include "daemon/activity_log.h"
#include "daemon/bandwidth.h"
#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "daemon/state.h"
#include "support/text_helpers.h"

namespace {

constexpr long long kMostProcesses = 1000;  // as in host_files.cpp

Judgement judgement;

void hear(Made made) {
  judgement.made = made;
}

}  // namespace

// --- In place of the daemon's functions that write ---

// The texts that standalone mode prints tell the reason. They never change.
void trace(const char* format, ...) {
  va_list args;
  va_start(args, format);
  if (startsWith(format, "Adding ")) {
    hear(Made::kAdmission);
    judgement.user = va_arg(args, const char*);
    judgement.address = va_arg(args, const char*);
  } else if (startsWith(format, "setting: ")) {
    hear(Made::kAdmission);
    judgement.address = va_arg(args, const char*);
  } else if (startsWith(format, "Ignoring ")) {
    hear(Made::kLoopback);
    judgement.address = va_arg(args, const char*);
    if (startsWith(format, "Ignoring %s for")) judgement.user = va_arg(args, const char*);
  } else if (startsWith(format, "'%s' is not an IP")) {
    hear(Made::kNoAddress);
    judgement.address = printable(va_arg(args, const char*));
  } else if (startsWith(format, "DENIED")) {
    hear(Made::kNoDate);
  } else if (startsWith(format, "gCD") || startsWith(format, "removing pid")) {
    hear(Made::kConnection);
  }
  va_end(args);
}

void log(const char*, ...) {}
void log_last_login(const char*, const char*, long) {}
void log_dovecot_bandwidth(const char*, long) {}

const Judgement& judge(const char* line) {
  constexpr int kTwoYears_min = 2 * 366 * 24 * 60;
  is_daemon = 0;
  // All dates count as of this year. One that cannot be read counts as 1970.
  minutes = kTwoYears_min;
  judgement.made = Made::kNothing;
  judgement.user.clear();
  judgement.address.clear();
  email_buff[0] = '\0';
  parseLine(line);
  if (judgement.user.empty()) judgement.user = email_buff;
  if (host_list.param > 0) host_list.empty();
  if (user_list.param > 0) user_list.empty();
  if (process_ips.param > kMostProcesses) process_ips.empty();
  return judgement;
}
