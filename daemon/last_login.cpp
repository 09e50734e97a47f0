#include "daemon/last_login.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "daemon/record_file.h"
#include "daemon/state.h"
#include "support/system.h"
#include "support/text_helpers.h"

namespace {

// Makes sure that the folder is there. False if it cannot be, with a message for a domain's.
bool haveFolder(const LoginName& name) {
  const OwnedText home(name.newPath());
  if (!name.domain) return exists(home.get());
  const OwnedText folder(name.newPath("/last_login"));
  if (exists(folder.get())) return true;
  if (!exists(home.get())) {
    log("write_last_logins: could not find %s to log %s@%s", home.get(),
        std::string(name.local).c_str(), name.domain);
    return false;
  }
  if (!createDir(&logging, folder.get(), nullptr, 0770, true)) {
    log("write_last_logins: unable to create %s: %s", folder.get(), strerror(errno));
    return false;
  }
  // If it fails we go on: root can write the record anyway.
  setOwner(&logging, folder.get(), "root", "mail", 1, false, nullptr, nullptr);
  return true;
}

void writeLastLogin(const char* who, const char* record) {
  const LoginName name(who);
  if (refuseName("write_last_logins", name)) return;
  const OwnedText path(name.domain ? name.newPath("/last_login/", name.local)
                                   : name.newPath("/last_login"));
  const auto announce = [&] {
    trace("last_login: %s@%s '%s'\n", std::string(name.local).c_str(), printable(name.domain),
          record);
  };
  // A domain nearly always has its folder, so we look for it only if the file cannot be opened.
  // Users without a domain often have none.
  if (name.domain && replaceRecord(path.get(), record, announce)) return;
  if (!haveFolder(name)) return;
  if (!replaceRecord(path.get(), record, announce))
    log("Cannot open %s for logging last login", path.get());
}

}  // namespace

void log_last_login(const char* who, const char* ip, long when) {
  OwnedText record(newJoined({"when=", Decimal(when), "&ip=", ip}));
  if (last_login.setParam(who, record.get(), false, 1, false)) record.release();
}

void write_last_logins() {
  for (long long i = 0; i < last_login.param; ++i)
    writeLastLogin(last_login.getNameAt(i), last_login.getValueAt(i));
}
