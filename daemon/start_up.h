// What the daemon does once, before it follows the mail log.
#pragma once

// Lets the process outlive what it writes to: signals of pipes and files that take no more are
// ignored, and closed descriptors 0 to 2 lead nowhere. When memory runs out, a line in the activity
// log says so and the process aborts.
void prepareProcess();

// Takes the arguments into is_daemon, minutes and log_file (see the usage text). Anything else
// prints that text and ends the process with status 5. Without an `f` log_file becomes
// /var/log/maillog if that exists, otherwise /var/log/mail.log.
void readArguments(int argc, char** argv);

// Goes into the background: its child has a session of its own, no descriptors 0 to 2, and its id
// in the pid file. Once that is written, or cannot be, the process that called ends with status 0.
// Ends with status 1, and says why, if the pid file names a process that runs, or if no child can
// be had.
//
// Of daemons that start at the same moment one goes on. Others wait until it has written its id,
// ten seconds at most.
void setDaemon();
