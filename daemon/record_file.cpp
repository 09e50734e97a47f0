#include "daemon/record_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "support/cv_string.h"

namespace {

bool leavesItsFolder(const std::string& part) {
  return part == "." || part == ".." || part.find('/') != std::string::npos;
}

std::string escaped(const char* text) {
  std::string shown;
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte >= ' ' && byte < 0x7f && byte != '\\' && byte != '\'') {
      shown += *text;
      continue;
    }
    char code[8];
    snprintf(code, sizeof code, "\\x%02x", byte);
    shown += code;
  }
  return shown;
}

}  // namespace

LoginName::LoginName(const char* name) : whole(name) {
  const char* at = findChar(name, '@');
  is_virtual = *at == '@';
  local.assign(name, at);
  if (is_virtual) domain = at + 1;
}

std::string LoginName::folder() const {
  return is_virtual ? std::string(kDomains) + "/" + domain : kPanelUsers + local;
}

bool refuseName(const char* caller, const LoginName& name) {
  if (!leavesItsFolder(name.local) && !leavesItsFolder(name.domain)) return false;
  log("%s: refused '%s': as a path it would leave its folder", caller, escaped(name.whole).c_str());
  return true;
}

bool writeRecord(const char* path, int flags, const char* text) {
  // Whoever may write in the folder could otherwise have root overwrite any file by a link, or
  // stand still at a pipe.
  constexpr int kSafely = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  constexpr mode_t kMode = 0666;  // less the umask, as fopen() has it
  const int file = open(path, O_WRONLY | O_CREAT | kSafely | flags, kMode);
  if (file == -1) return false;
  // One call, so that no reader of an appended record sees a part of it. We carry on if it fails.
  [[maybe_unused]] const ssize_t written = write(file, text, strlen(text));
  close(file);
  return true;
}
