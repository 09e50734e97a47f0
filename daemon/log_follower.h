// Following the mail log: noticing that it has changed and reading what has been added.
#pragma once

// 1 if the modification time of log_file, in whole seconds, is later than at the last change; else
// 0, with a message in the activity log if the file cannot be reached. A file that has become
// smaller is read from its start again; one that was replaced by a file at least as large is taken
// for the same.
int logChanged();

// Opens log_file into maillog, which the caller closes. On failure reports it in the activity log
// and returns false.
bool openLog();

// Reads maillog, if it is open, from the byte `position` to its end, hands each line to parseLine()
// and leaves in last_pos where it ended. A last line that is still being written counts as a line,
// and so does its rest in the next scan. Where reading fails the next scan goes on, with the line
// that could not be read whole.
void parseLogFrom(long position);

// One scan: expires old hosts, reads the new lines, rewrites both host files and writes the last
// logins. If the log cannot be opened nothing is rewritten; its lines are read after its next
// change.
void updateHosts();
