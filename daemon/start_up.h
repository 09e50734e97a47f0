// What the daemon does once, before it follows the mail log.
#pragma once

// Ignores the signals of pipes without a reader and of files at their limit of size, and opens
// descriptors 0 to 2 on /dev/null if they are closed. When memory runs out from now on, a line in
// the activity log says so and the process aborts.
void prepareProcess();

// Takes the arguments into is_daemon, minutes and log_file (see the usage text). An argument that
// it does not know prints that text and ends the process with status 5. Without an `f` log_file
// becomes /var/log/maillog if that exists, otherwise /var/log/mail.log.
void readArguments(int argc, char** argv);

// Goes into the background: its child has a session of its own, no descriptors 0 to 2, and its id
// in the pid file. The calling process ends with status 0 once that is written or has failed. It
// ends with status 1, and says why, if the pid file names a process that runs, or if it cannot
// fork.
//
// If several daemons start at the same moment, one goes on. The others wait until it has written
// its id, ten seconds at most.
void setDaemon();
