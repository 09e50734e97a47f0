// The files that records of users go to, and which names may lead there.
//
// A login name is chosen by whoever it belongs to, and the folders are open to others than root.
#pragma once

#include <string>

// Where a login name points: the part before and behind its first '@', or all of it as `local`.
struct LoginName {
  explicit LoginName(const char* name);

  // The folder of the domain, or of the panel user if there is none.
  std::string folder() const;

  const char* whole;  // not owned
  std::string local;
  std::string domain;
  bool is_virtual;  // has an '@'
};

// Whether a part of the name would leave its folder as a path: one that contains '/' or is "." or
// "..". Then says so in one line of the activity log that begins with `caller` and shows the name
// with all but printable ASCII escaped.
bool refuseName(const char* caller, const LoginName& name);

// Opens `path` with `flags` (O_TRUNC or O_APPEND) beside those for writing and creating, writes
// the text and closes it. Neither follows a link at the end of the path nor waits for a reader of a
// pipe. Returns false, with errno, if it cannot be opened; a failure to write is not noticed.
bool writeRecord(const char* path, int flags, const char* text);
