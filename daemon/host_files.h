// Authorized hosts: dropping those that have expired, and writing the others to the host files.
//
// An address in host_list expires when its latest login is more than `minutes` minutes old; one
// that is exactly that old stays. The two host files are rewritten in place: for a moment the mail
// server may see an empty file or half a file.
#pragma once

// One sweep: removes expired addresses from host_list and user_list, and recomputes oldest_host.
// Writes no file.
void clearOldIps();

// The work of a cycle in which the log has not changed. When oldest_host says that an address has
// expired, it sweeps and rewrites both files. It empties process_ips when that has more than 1000
// processes: the log cannot have reported all of their ends.
void removeOldHosts();

// Rewrite /etc/virtual/pophosts ("ADDRESS" a line) and /etc/virtual/pophosts_user
// ("ADDRESS: USER"), each in the order of its table. A file that cannot be opened is reported in
// the activity log and left as it is.
void writeHostFile();
void writeUserFile();
