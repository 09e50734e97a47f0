// Writes records of users, and decides which login names may become a path.
//
// Users choose their login names, and not only root may write in the folders of records.
#pragma once

#include <functional>
#include <string_view>

// The parts of a login name: before and behind its first '@', or all of it as `local`. They point
// into the given text, which must not be null, stays the caller's and must outlive them.
struct LoginName {
  explicit LoginName(const char* name);

  // A new text: the folder of the domain, or of the panel user if there is no domain, followed by
  // `below` and `file`.
  char* newPath(std::string_view below = {}, std::string_view file = {}) const;

  const char* whole;
  std::string_view local;
  const char* domain;  // null if there is no '@'
};

// Whether a part of the name would lead out of its folder as a path: it contains '/', or is "." or
// "..". If so, a line in the activity log begins with `caller` and shows the name, in which all but
// printable ASCII is escaped.
bool refuseName(const char* caller, const LoginName& name);

// Both open the file, or create it, write the record and close the file. replaceRecord() makes the
// record the whole content; appendRecord() adds it at the end. They do not follow a link at the end
// of the path, and never wait for a pipe. They return false, with errno, if the file cannot be
// opened or is not a regular file (ENXIO). A failure to write is not noticed. `opened` is called
// once the file is open, before it is written.
bool replaceRecord(const char* path, std::string_view record,
                   const std::function<void()>& opened = nullptr);
bool appendRecord(const char* path, std::string_view record);
