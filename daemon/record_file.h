// The files that records of users go to, and which names may lead there.
//
// A login name is chosen by whoever it belongs to, and the folders are open to others than root.
#pragma once

#include <functional>
#include <string_view>

// Where a login name points: the part before and behind its first '@', or all of it as `local`.
// These are parts of the text given, which stays the caller's.
struct LoginName {
  explicit LoginName(const char* name);

  // A new text: the folder of the domain, or of the panel user if there is none, with `below` and
  // `file` put behind it.
  char* newPath(std::string_view below = {}, std::string_view file = {}) const;

  const char* whole;
  std::string_view local;
  const char* domain;  // null if there is no '@'
};

// Whether a part of the name would leave its folder as a path: one that contains '/' or is "." or
// "..". Then says so in one line of the activity log that begins with `caller` and shows the name
// with all but printable ASCII escaped.
bool refuseName(const char* caller, const LoginName& name);

// Both open the file, which is created if need be, write the record and close it: as its whole
// content, or behind what it has. Neither follows a link at the end of the path nor waits for
// anybody. They return false, with errno, if it cannot be opened or is no regular file (ENXIO); a
// failure to write is not noticed. `opened` is called once the file is open, before it is written.
bool replaceRecord(const char* path, std::string_view record,
                   const std::function<void()>& opened = nullptr);
bool appendRecord(const char* path, std::string_view record);
