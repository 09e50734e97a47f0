// Follows the mail log: notices that it has changed, and reads the lines that have been added.
#pragma once

// 1 if the modification time of log_file, in whole seconds, is later than at the last change; else
// 0, with a message in the activity log if the file cannot be reached. A file that has become
// smaller will be read again from its start. A new file that is at least as large is taken for the
// old one.
int logChanged();

// Opens log_file into maillog, which the caller closes. On failure reports it in the activity log
// and returns false.
bool openLog();

// Reads maillog, if it is open, from the byte `position` to its end, hands each line to parseLine()
// and leaves in last_pos where it ended. A last line that is still being written counts as a line,
// and so does its rest in the next scan. If reading fails, the next scan goes on there, with the
// line that could not be read whole.
void parseLogFrom(long position);

// One scan: drops expired hosts, reads the new lines, rewrites both host files and writes the last
// logins. If the log cannot be opened, no file is rewritten, and the new lines are read after the
// next change of the log.
void updateHosts();
