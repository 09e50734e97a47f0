#include "daemon/last_login.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "daemon/activity_log.h"
#include "daemon/record_file.h"
#include "daemon/state.h"
#include "support/cv_string.h"
#include "support/owned_text.h"
#include "support/system.h"

namespace {

bool exists(const std::string& path) {
  return pathExists(path.c_str(), 0, true, true) != 0;
}

// Makes sure that the folder is there. False if it cannot be, with a message for a domain's.
bool haveFolder(const LoginName& name) {
  if (!name.is_virtual) return exists(name.folder());
  const std::string domain_folder = name.folder();
  const std::string folder = domain_folder + "/last_login";
  if (exists(folder)) return true;
  if (!exists(domain_folder)) {
    log("write_last_logins: could not find %s to log %s@%s", domain_folder.c_str(),
        name.local.c_str(), name.domain.c_str());
    return false;
  }
  if (!createDir(&logging, folder.c_str(), nullptr, 0770, true)) {
    log("write_last_logins: unable to create %s: %s", folder.c_str(), strerror(errno));
    return false;
  }
  // The record is written either way.
  setOwner(&logging, folder.c_str(), "root", "mail", 1, false, nullptr, nullptr);
  return true;
}

void writeLastLogin(const char* who, const char* record) {
  const LoginName name(who);
  if (refuseName("write_last_logins", name)) return;
  const std::string path =
      name.folder() + "/last_login" + (name.is_virtual ? "/" + name.local : "");
  // The folder of a domain is nearly always there, and is looked for only where it seems not to be.
  // Users without a domain may well have none.
  const bool written = name.is_virtual && writeRecord(path.c_str(), O_TRUNC, record);
  if (!written && !haveFolder(name)) return;
  if (!written && !writeRecord(path.c_str(), O_TRUNC, record)) {
    log("Cannot open %s for logging last login", path.c_str());
    return;
  }
  trace("last_login: %s@%s '%s'\n", name.local.c_str(),
        name.is_virtual ? name.domain.c_str() : "(null)", record);
}

}  // namespace

void log_last_login(const char* who, const char* ip, long when) {
  OwnedText record(newString(4, "when=", Decimal(when).text, "&ip=", ip));
  if (last_login.setParam(who, record.get(), false, 1, false)) record.release();
}

void write_last_logins() {
  for (long long i = 0; i < last_login.param; ++i)
    writeLastLogin(last_login.getNameAt(i), last_login.getValueAt(i));
}
