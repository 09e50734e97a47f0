// The kinds of lines in a mail log, as an administrator wants to tell them apart.
#pragma once

#include <string>

enum class Kind {
  kOther,       // of other programs, or no program's
  kServerLine,  // of a server whose logins count, but no login
  kCounts,      // a login that counts, if it is young enough
  // Logins that do not count, or should not.
  kAnonymous,
  kLoopback,
  kIPv6,
  kOtherService,
  kRefused,
  // What is nearly a login.
  kLoggedIn,
  kLevel,
  kWords,
  kProgram,
  kUser,
  kAddress,
  kConnect,
  kAuthenticated,
  kDate,
};
constexpr int kKinds = static_cast<int>(Kind::kDate) + 1;

struct KindText {
  const char* what;    // a noun
  const char* remedy;  // what is wrong with it, and what to do
  bool wrong;          // with the set-up, not only for the one who logs in
};

const KindText& textOf(Kind kind);

inline bool isNearly(Kind kind) {
  return kind >= Kind::kLoggedIn;
}

struct Line {
  Kind kind = Kind::kOther;
  long long when = 0;   // 0 if its date cannot be read
  std::string user;     // of a login that the daemon takes for one
  std::string address;  // the same
};

// What the line is. Whatever the daemon takes for a login is one, whatever it looks like; only a
// line that it passes over can nearly be one. Valid until the next call.
const Line& kindOf(const char* line);
