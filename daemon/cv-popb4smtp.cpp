// cv-popb4smtp: lets hosts relay mail for a while after a POP3 or IMAP login.
//
// Every two seconds: if the mail log has changed, read its new lines and rewrite the host files;
// if not, let go of hosts whose time is over. Until somebody kills it.

#include <unistd.h>

#include <cstdio>

#include "daemon/host_files.h"
#include "daemon/log_follower.h"
#include "daemon/start_up.h"
#include "daemon/state.h"
#include "support/cv_string.h"

int main(int argc, char** argv) {
  constexpr unsigned kPoll_s = 2;
  prepareProcess();
  // Whoever watches the standalone mode sees each line at once, through a pipe too.
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  readArguments(argc, argv);
  if (is_daemon) setDaemon();
  buffer = newString(nullptr, buff_size);

  for (;;) {
    if (logChanged())
      updateHosts();
    else
      removeOldHosts();
    sleep(kPoll_s);
  }
}
