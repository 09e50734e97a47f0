// What the daemon does once, before it follows the mail log.
#pragma once

// Takes the arguments into is_daemon, minutes and log_file (see the usage text). Anything else
// prints that text and ends the process with status 5. Without an `f` log_file becomes
// /var/log/maillog if that exists, otherwise /var/log/mail.log.
void readArguments(int argc, char** argv);

// Goes into the background: the process that called ends with status 0, and its child has a
// session of its own, no descriptors 0 to 2, and its id in the pid file. Ends with status 1 if the
// pid file names a process that runs, or if no child can be had.
void setDaemon();
