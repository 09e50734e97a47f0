// When a line of the mail log was written.
//
// A line begins with "Mon DD HH:MM:SS", which names no year and no zone.
#pragma once

// The time of the syslog date at the start of `line`, in seconds since the epoch. The year is the
// current one, and the clock that of the current season. 0, with a message in the activity log,
// when it cannot be read.
long getTimeFromString(const char* line);

// holdCalendar(true), at the start of a scan: getTimeFromString() looks up each hour of the log
// once and remembers it, so that a change of the system's time zone is not seen.
// holdCalendar(false), at its end: each line is looked up by itself again. Both forget the hours
// that were looked up.
void holdCalendar(bool on);
