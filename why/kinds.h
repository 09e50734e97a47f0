// The kinds of lines in a mail log, as an administrator wants to tell them apart.
#pragma once

#include <string>

enum class Kind {
  kOther,       // a line of another program, or of none
  kServerLine,  // a line of a server whose logins count, but not a login
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
  bool wrong;          // whether the set-up is wrong, and not only this one login
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

// The kind of the line. What the daemon takes for a login is a login, whatever it looks like. Only
// a line that the daemon ignores can be nearly a login. Valid until the next call.
const Line& kindOf(const char* line);
