// The host files: who is listed, and whether the mail server can read them.
#pragma once

#include <ctime>
#include <map>
#include <string>

#include "why/report.h"
#include "why/subject.h"

struct Listed {
  bool known = false;  // the host file could be read, or there is none
  long long hosts = 0;
  time_t written = 0;    // when the host file was
  bool subject = false;  // the subject's address stands in it
  std::string address;   // of the subject; empty if nothing is known of one
  std::string user;      // of that address
  std::string barred;    // what keeps the mail server's account out; empty if nothing does
};

// Reads both files and reports modes that keep the mail server's account out. `address` is where a
// subject that is a user last logged in from, or empty. Removes the addresses that it finds from
// `authorized`: what is left there should be listed but is not.
Listed readHostFiles(Report& report, const Subject& subject, const std::string& address,
                     std::map<std::string, long long>& authorized);
