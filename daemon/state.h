// All process-wide state of the daemon. There is one thread; nothing is locked.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>

#include "support/configfile.h"
#include "support/listfile.h"
#include "support/logging.h"

extern int is_daemon;  // 0 in standalone mode: in the foreground, messages and traces on stdout
extern int minutes;    // lifetime of an authorization, in minutes; the `t` argument sets it
extern const char* const months[13];  // as syslog writes them, January first; null at the end

extern Logging logging;  // where library functions report; never configured

extern ConfigFile host_list;    // address -> time of its latest login, decimal seconds (32 bits)
extern ConfigFile user_list;    // address -> user of its latest login
extern ConfigFile process_ips;  // server process id, decimal -> client address, from connect to end
extern ListFile oldies;         // addresses that the current sweep found expired
extern ConfigFile last_login;   // login name -> last-login record, gathered during one scan

// The earliest login among the hosts that the latest sweep kept, 0x7fffffff if it kept none. Only
// the sweep sets it, never a login, so that an idle cycle costs one comparison. The price: hosts
// that were admitted after a sweep that kept none wait for the next change of the mail log, even if
// expired.
extern int64_t oldest_host;

extern char* log_file;               // path of the mail log; owned
extern struct stat filestat;         // its latest status
extern long long file_size;          // its size at the last detected change, in bytes
extern long long last_modification;  // its modification time then, in seconds
extern long long last_pos;           // bytes of it read so far; 0 again after it has shrunk
extern FILE* maillog;                // open during a scan only

extern int buff_size;  // size of `buffer` in bytes; long lines enlarge both
extern char* buffer;   // for long lines of the mail log; owned

extern char email_buff[256];  // the user of the classic login line at hand
extern FILE* hosts;           // the host file being written; open inside its writer only

// The lifetime of an authorization in seconds. It wraps around if `minutes` is too large for an
// int.
inline int lifetime_s() {
  return static_cast<int>(static_cast<unsigned>(minutes) * 60U);
}
