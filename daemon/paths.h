// Every path the daemon touches by itself. The mail log may be another: see the `f` argument.
#pragma once

#include "support/system.h"

constexpr char kActivityLog[] = "/var/log/corvane/cv-popb4smtp.log";
constexpr char kPidFile[] = "/var/run/cv-popb4smtp.pid";
constexpr char kPidFolder[] = "/var/run";                  // locked while a daemon starts
constexpr char kMailLog[] = "/var/log/maillog";            // followed if it exists at start
constexpr char kMailLogOtherwise[] = "/var/log/mail.log";  // followed if not
constexpr char kHostFile[] = "/etc/virtual/pophosts";
constexpr char kUserFile[] = "/etc/virtual/pophosts_user";

// Records of users. Each domain has a folder of its name below the first, each panel user below the
// second; only a domain's folder last_login is ever made.
constexpr char kDomains[] = "/etc/virtual";
constexpr char kPanelUsers[] = "/usr/local/corvane/data/users/";

// Whether anything is there. Links are followed, and no answer is remembered.
inline bool exists(const char* path) {
  return pathExists(path, 0, true, true) != 0;
}
