// What the daemon makes of a line of the mail log.
//
// judge() asks the daemon's own code: it hands the line to parseLine(), in standalone mode, and
// takes what that prints. judgement.cpp has its own log(), trace(), log_last_login() and
// log_dovecot_bandwidth(), which write nothing. The daemon's files that have these functions are
// not linked; see CMakeLists.txt.
#pragma once

#include <string>

enum class Made {
  kNothing,     // an ignored line, or a login line that lacks something
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

// What the daemon makes of the line after all lines that were judged before. judge() keeps the
// addresses of classic processes, as the daemon does, but forgets authorized hosts at once. It sets
// the daemon's `minutes` so that no login of this year is too old. Valid until the next call.
const Judgement& judge(const char* line);
