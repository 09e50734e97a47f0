// What the daemon makes of a line of the mail log.
//
// The daemon is asked itself: judge() hands the line to its parseLine(), in standalone mode, and
// hears what that says. judgement.cpp has functions of its own in place of those by which the
// daemon writes (log(), trace(), log_last_login(), log_dovecot_bandwidth()): the files that these
// stand in are not linked, which CMakeLists.txt sees to.
#pragma once

#include <string>

enum class Made {
  kNothing,     // passed over, or a login line that lacks something
  kConnection,  // the connection or the end of a classic process
  kAdmission,
  kLoopback,   // a login from the server itself
  kNoAddress,  // a login from what is no IPv4 address
  kNoDate,     // a login whose date cannot be read
};

struct Judgement {
  Made made = Made::kNothing;
  std::string user;     // of a login, as far as it was read
  std::string address;  // the same
};

// What it makes of the line, as if it had read all lines judged before. It keeps the addresses of
// classic processes, as the daemon does; authorized hosts it forgets at once. No login of this
// year is too old: it sets the daemon's `minutes` so. Valid until the next call.
const Judgement& judge(const char* line);
