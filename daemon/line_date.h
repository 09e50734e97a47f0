// When a line of the mail log was written.
//
// A line begins with "Mon DD HH:MM:SS", which names no year and no zone.
#pragma once

// The time of the syslog date at the start of `line`, in seconds since the epoch. The year is the
// current one, and the clock that of the current season. 0, with a message in the activity log,
// when it cannot be read.
long getTimeFromString(const char* line);

// While it is on, as during a scan, the calendar is looked up once a day of the log, not once a
// line; a change of the system's time zone is seen by the next scan. Both ways it forgets the days
// looked up before. Off, each line is looked up by itself.
void holdCalendar(bool on);
