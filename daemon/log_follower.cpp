#include "daemon/log_follower.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "daemon/activity_log.h"
#include "daemon/host_files.h"
#include "daemon/last_login.h"
#include "daemon/line_date.h"
#include "daemon/line_recognition.h"
#include "daemon/login.h"
#include "daemon/state.h"
#include "support/line_reader.h"
#include "support/stream.h"
#include "support/system.h"

namespace {

// While it lives, work that could be done at each line is done once, or at the end of the scan.
class ManyLines {
 public:
  ManyLines() { set(true); }
  ~ManyLines() { set(false); }
  ManyLines(const ManyLines&) = delete;
  ManyLines& operator=(const ManyLines&) = delete;

 private:
  static void set(bool on) {
    holdCalendar(on);
    for (ConfigFile* table : {&host_list, &user_list, &process_ips, &last_login}) table->gather(on);
  }
};

// As parseLogFrom(), but also for logs above 2 GiB on machines where a long has 32 bits.
void readLogFrom(off_t position) {
  if (!maillog) return;
  const bool sought = fseeko(maillog, position, SEEK_SET) == 0;
  const bool is_pipe = !sought && errno == ESPIPE;
  // We do not read from the top instead: sessions would be recorded again.
  if (!sought && !is_pipe) return;
  const ManyLines many_lines;
  LineReader lines(&logging, maillog, buffer, buff_size);
  while (const char* line = lines.next()) parseLine(line);
  // A pipe has no position. If a file takes its place, that is read from the top.
  last_pos = is_pipe ? 0 : position + lines.handedOver();
}

}  // namespace

int logChanged() {
  if (stat(log_file, &filestat) != 0) {
    log("Cannot stat: %s : %s", log_file, strerror(errno));
    return 0;
  }
  if (filestat.st_mtime <= last_modification) return 0;
  if (filestat.st_size < file_size) last_pos = 0;
  file_size = filestat.st_size;
  last_modification = filestat.st_mtime;
  return 1;
}

bool openLog() {
  maillog = openStream(log_file, "r");
  if (!maillog) {
    // The tab before the colon is how this message has always read.
    log("Unable to open %s for reading\t: %s", log_file, strerror(errno));
    return false;
  }
  setvbuf(maillog, nullptr, _IONBF, 0);  // LineReader reads in blocks of its own
  return true;
}

void parseLogFrom(long position) {
  readLogFrom(position);
}

void updateHosts() {
  trace("Log has been updated, scanning from %lld\n", last_pos);
  clearOldIps();
  last_login.empty();
  if (!openLog()) return;
  readLogFrom(static_cast<off_t>(last_pos));
  fclose(maillog);
  maillog = nullptr;
  writeHostFile();
  writeUserFile();
  write_last_logins();
}
