// The traffic of ended Dovecot sessions.
#pragma once

// Appends the record of a session that ended at `when`, in seconds since the epoch, to the file
// dovecot.bytes in /etc/virtual/DOMAIN or /usr/local/corvane/data/users/NAME:
//
//   TOTAL=type=pop|imap&inbound=BYTES&outbound=BYTES&email=NAME&log_time=SECONDS
//
// `message` is Dovecot's, from "pop3(" or "imap(" on. It is ignored in silence if it does not end a
// session, has no byte counts, or if the user has no folder. A file that cannot be opened, and a
// name that would lead out of its folder, are reported in the activity log.
void log_dovecot_bandwidth(const char* message, long when);
