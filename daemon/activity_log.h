// The daemon's messages: in the activity log, and in standalone mode on standard output.
#pragma once

// Appends "YYYY:MM:DD-HH:MM:SS: " and the formatted message as one line to the activity log; in
// standalone mode then prints it. The file is opened for each line, so it may be rotated or removed
// at any time. If the log cannot be written, nobody is told. A pipe in its place is not waited for.
void log(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Prints the formatted text as it is, in standalone mode only.
void trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
