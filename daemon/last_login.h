// When and from where each user last logged in.
//
// A scan notes each login in the table last_login, where the latest of a user replaces those before
// it; after the scan each becomes a file of its own: "when=SECONDS&ip=ADDRESS", no line end.
#pragma once

// Notes a login of `who` from `ip` at `when`, in seconds since the epoch. An empty name notes
// nothing.
void log_last_login(const char* who, const char* ip, long when);

// Writes what has been noted: for LOCAL@DOMAIN /etc/virtual/DOMAIN/last_login/LOCAL, whose folder
// last_login is made if it is missing (mode 0770, root, group mail); for other names
// /usr/local/corvane/data/users/NAME/last_login. What cannot be written, and a name that would lead
// out of its folder, is reported in the activity log and passed over, in silence where a user
// without '@' has no folder.
void write_last_logins();
