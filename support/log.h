// The time stamp of log lines.
#pragma once

class Log {
 public:
  // The local time as YYYY:MM:DD-HH:MM:SS, in one buffer that the next call overwrites.
  static char* getLogTime();
};
