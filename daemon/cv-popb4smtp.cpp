// cv-popb4smtp: lets hosts relay mail for a while after a POP3 or IMAP login.
//
// Every two seconds it looks at the mail log. If the log has changed, it reads the new lines and
// rewrites the host files; if not, it drops hosts that have expired. It runs until it is killed.

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
  // In standalone mode each line is seen at once, even through a pipe.
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
