// The traffic of ended Dovecot sessions.
#pragma once

// Takes note of a session that ended at `when`, in seconds since the epoch. `message` is Dovecot's,
// from "pop3(" or "imap(" on. Traffic is not recorded yet: this does nothing.
void log_dovecot_bandwidth(const char* message, long when);
