// Authorized hosts: letting them go, and publishing those that remain.
//
// An address in host_list may relay until its latest login is more than `minutes` minutes old; an
// address exactly that old stays. The mail server reads the two files while they are rewritten in
// place: for a moment it may see an empty or half a file.
#pragma once

// One sweep: removes what has aged out from host_list and user_list, and recomputes oldest_host.
// Writes no file.
void clearOldIps();

// The work of a cycle without new log lines: sweeps and rewrites both files when oldest_host says
// that an authorization has aged out, and empties process_ips when it has grown past 1000
// processes, whose ends must have been missed.
void removeOldHosts();

// Rewrite /etc/virtual/pophosts ("ADDRESS" a line) and /etc/virtual/pophosts_user
// ("ADDRESS: USER"), each in the order of its table. A file that cannot be opened is reported in
// the activity log and left as it is.
void writeHostFile();
void writeUserFile();
