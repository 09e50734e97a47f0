// How the daemon is set up on this machine: is it running, and with which arguments.
#pragma once

#include <string>
#include <vector>

#include "why/report.h"

struct SetUp {
  bool running = false;
  bool follows = false;  // it runs, and follows this log with these minutes
  std::string mail_log;
  bool names_mail_log = false;  // by `f`; if not, mail_log is the default
  int minutes = 30;
};

// Finds the daemon by its pid file, and its arguments by the command line of this process. If it is
// not running, takes the arguments in /etc/default/cv-popb4smtp. Reports what it finds. Given
// values that are not empty replace these arguments. Sets the daemon's `minutes`.
SetUp readSetUp(Report& report, const std::string& given_minutes, const std::string& given_log);

// The whole text of a small file. False, with errno, if it cannot be read.
bool readFile(const std::string& path, std::string& content);
