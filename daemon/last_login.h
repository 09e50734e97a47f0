// When and from where each user last logged in.
//
// A scan notes each login in the table last_login, where the latest login of a user replaces the
// one before. After the scan each user's login is written to a file: "when=SECONDS&ip=ADDRESS",
// without a line end.
#pragma once

// Notes a login of `who` from `ip` at `when`, in seconds since the epoch. A null or empty name
// notes nothing.
void log_last_login(const char* who, const char* ip, long when);

// Writes the logins that were noted. For LOCAL@DOMAIN the file is
// /etc/virtual/DOMAIN/last_login/LOCAL, and the folder last_login is made if it is missing (mode
// 0770, root, group mail). For other names it is /usr/local/corvane/data/users/NAME/last_login. A
// record that cannot be written, and a name that would lead out of its folder, are reported in the
// activity log. A name without '@' that has no folder is ignored in silence.
void write_last_logins();
