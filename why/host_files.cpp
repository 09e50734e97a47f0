#include "why/host_files.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "daemon/paths.h"
#include "support/stream.h"
#include "why/bounded_lines.h"

namespace {

using std::string;

// The account as which the mail server reads the files. Postfix reads them as root.
class Reader {
 public:
  Reader() {
    for (const char* name : {"Debian-exim", "exim"}) {
      const passwd* entry = getpwnam(name);
      if (!entry) continue;
      is_known_ = true;
      name_ = name;
      uid_ = entry->pw_uid;
      int count = static_cast<int>(groups_.size());
      if (getgrouplist(name, entry->pw_gid, groups_.data(), &count) == -1) count = 1;
      groups_.resize(static_cast<size_t>(std::max(count, 1)));
      return;
    }
    groups_.clear();
  }

  const char* name() const { return is_known_ ? name_ : "the mail server's account"; }

  // `right` is 4, 2 or 1: a right of others in the mode.
  bool has(mode_t right, const struct stat& status) const {
    if (is_known_ && status.st_uid == uid_) return (status.st_mode & (right << 6)) != 0;
    const bool in_group = std::find(groups_.begin(), groups_.end(), status.st_gid) != groups_.end();
    return (status.st_mode & (in_group ? right << 3 : right)) != 0;
  }

 private:
  bool is_known_ = false;
  const char* name_ = nullptr;
  uid_t uid_ = 0;
  std::vector<gid_t> groups_ = std::vector<gid_t>(64);
};

// What keeps the mail server from the host file, "" if nothing does.
string judgeModes(Report& report) {
  const Reader reader;
  string barred;
  for (const char* path : {"/etc", kDomains, kUserFile, kHostFile}) {
    struct stat status = {};
    if (stat(path, &status) != 0) {
      if (errno == ENOENT)
        report.say(Found::kWrong,
                   "%s is missing, and a mail server can refuse all mail then: start the daemon, "
                   "which makes it (for folders, install the package again)",
                   path);
      continue;
    }
    const bool is_folder = S_ISDIR(status.st_mode);
    if (reader.has(is_folder ? 1 : 4, status)) continue;
    const string lack = formatted(
        "%s has mode %04o, and %s cannot %s: chmod o+%s %s", path, status.st_mode & 07777,
        reader.name(), is_folder ? "get into it" : "read it", is_folder ? "x" : "r", path);
    report.say(Found::kWrong, "%s", lack.c_str());
    if (strcmp(path, kUserFile) != 0) barred = lack;
  }
  return barred;
}

// Opens the file. Null if it is missing or may not be read; `known` is false if it may not.
OwnedFile openListed(Report& report, const char* path, bool& known) {
  OwnedFile file(openStream(path, "r"));
  known = file || errno == ENOENT || errno == ENOTDIR;
  if (!known)
    report.say(Found::kUnknown, "%s may not be read: %s; run this as root", path, strerror(errno));
  return file;
}

// "ADDRESS: USER" lines: the user of an address, or an address of a user.
void readUsers(FILE* file, const Subject& subject, Listed& listed) {
  BoundedLines lines(file);
  while (const char* line = lines.next()) {
    const char* colon = strstr(line, ": ");
    if (!colon) continue;
    const string address(line, colon);
    const bool is_users = subject.type() == Subject::kUser && listed.address.empty() &&
                          subject.is(colon + 2, address);
    if (is_users) listed.address = address;
    if (address == listed.address) listed.user = colon + 2;
  }
}

}  // namespace

Listed readHostFiles(Report& report, const Subject& subject, const string& address,
                     std::map<string, long long>& authorized) {
  Listed listed;
  listed.address = subject.isAddress() ? subject.text() : address;
  listed.barred = judgeModes(report);
  if (const OwnedFile users = openListed(report, kUserFile, listed.known))
    readUsers(users.get(), subject, listed);
  const OwnedFile hosts = openListed(report, kHostFile, listed.known);
  struct stat status = {};
  if (!hosts || fstat(fileno(hosts.get()), &status) != 0) return listed;
  listed.written = status.st_mtime;
  BoundedLines lines(hosts.get());
  while (const char* line = lines.next()) {
    ++listed.hosts;
    authorized.erase(line);
    if (line == listed.address) listed.subject = true;
  }
  return listed;
}
