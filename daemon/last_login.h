// When and from where each user last logged in.
#pragma once

// Takes note of a login at `when`, in seconds since the epoch, and write_last_logins() writes what
// one scan has gathered. Last logins are not recorded yet: both do nothing.
void log_last_login(const char* who, const char* ip, long when);
void write_last_logins();
