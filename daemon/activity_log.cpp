#include "daemon/activity_log.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "daemon/paths.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/stream.h"
#include "support/text_helpers.h"

void log(const char* format, ...) {
  const time_t now = time(nullptr);
  const tm* today = localtime(&now);
  va_list args;
  va_start(args, format);
  const OwnedText message(newStringv(format, args));
  va_end(args);
  const OwnedText line(newStringf("%.4d:%.2d:%.2d-%.2d:%.2d:%.2d: %s\n", today->tm_year + 1900,
                                  today->tm_mon + 1, today->tm_mday, today->tm_hour, today->tm_min,
                                  today->tm_sec, message.get()));
  // The file is written and closed before we print. Printing can wait for a reader. And if standard
  // output was closed, the file may have its descriptor: the print would land in the file.
  if (const OwnedFile file(openStream(kActivityLog, "a")); file) fputs(line.get(), file.get());
  trace("%s", line.get());
}

void trace(const char* format, ...) {
  if (is_daemon) return;
  va_list args;
  va_start(args, format);
  vprintf(format, args);
  va_end(args);
}
