// How the daemon is set up on this machine: is it running, and with which arguments.
#pragma once

#include <string>
#include <vector>

#include "why/report.h"

struct SetUp {
  bool running = false;
  bool follows = false;  // it does, and follows this log with these minutes
  std::string mail_log;
  bool names_mail_log = false;  // by `f`; else it is the default
  int minutes = 30;
};

// Finds the daemon by its pid file, its arguments by the command line of that process or, if it is
// not running, by /etc/default/cv-popb4smtp, and reports what it sees, of the arguments too.
// What is given takes their place, unless it is empty. Sets the daemon's `minutes`.
SetUp readSetUp(Report& report, const std::string& given_minutes, const std::string& given_log);

// The whole text of a small file. False, with errno, if it cannot be read.
bool readFile(const std::string& path, std::string& content);
