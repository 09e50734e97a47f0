#include "support/log.h"

#include <ctime>

char* Log::getLogTime() {
  static char stamp[128];
  const time_t now = time(nullptr);
  if (strftime(stamp, sizeof stamp, "%Y:%m:%d-%H:%M:%S", localtime(&now)) == 0) stamp[0] = '\0';
  return stamp;
}
