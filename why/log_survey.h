// One pass over the mail log: how many lines are of which kind, and what the log says of the
// subject.
#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <string>

#include "why/kinds.h"
#include "why/subject.h"

// The latest line of a kind.
struct Latest {
  long long times = 0;
  Kind kind = Kind::kOther;
  long long when = 0;
  std::string user;
  std::string address;
  std::string line;  // its start
};

struct Survey {
  long long lines = 0;
  long long undated = 0;      // lines whose date cannot be read
  long long of_servers = 0;   // lines of Dovecot, imapd and vm-pop3d
  long long own = 0;          // lines of the daemon's unit: its start, heartbeats
  long long ahead = 0;        // lines that are dated more than a day ahead
  long long cut = 0;          // lines of which only the start was read
  long long first_stamp = 0;  // the date of the first line that has one
  long long last_stamp = 0;   // of the last one
  // The date of the last heartbeat, and the time of writing that its text gives. Both are 0 if
  // there is none.
  long long heartbeat_stamp = 0;
  long long heartbeat_sent = 0;
  Latest kinds[kKinds];  // of every kind, except the two that are not logins
  Latest counted;        // the subject's logins that count, whatever their age
  Latest other;          // the subject's other lines that are, or resemble, logins

  // The addresses that this log alone would authorize now, with the time of the login.
  std::map<std::string, long long> authorized;
  bool has_all_authorized = true;  // false if there were too many to keep
};

// Surveys the rest of the stream. A login counts for `lifetime` seconds. Calls `progress` now and
// then with the number of bytes read. False, with errno, if reading failed.
bool surveyLog(FILE* in, const Subject& subject, int lifetime,
               const std::function<void(long long)>& progress, Survey& survey);
