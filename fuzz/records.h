// The folders of records, and what appears in them. For one source file of a target.
//
// The calls that make files and folders are watched (-Wl,--wrap in CMakeLists.txt): a path that is
// not one of a record, whose names stay in their folders, is refuted before it is used.
#pragma once

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <set>

#include "fuzz.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;

using Records = std::map<std::string, std::string>;  // path and content

std::set<fs::path> pathsNow() {
  std::set<fs::path> paths;
  for (const char* root : {kDomains, kPanelUsers})
    for (const auto& entry : fs::recursive_directory_iterator(root)) paths.insert(entry);
  return paths;
}

// What is there at first: folders of the domains dom1.example and b@c and of the panel users alice
// and bob, and a domain in which links lie in the way of traffic and of bob's last login.
const std::set<fs::path>& preparedFolders() {
  static const std::set<fs::path> prepared = [] {
    for (const char* root : {kDomains, "/usr/local/corvane"}) {
      fs::create_directories(root);
      CHECK(mount("tmpfs", root, "tmpfs", 0, "") == 0, root);
    }
    const fs::path domains = kDomains, users = kPanelUsers;
    for (const fs::path& folder : {domains / "dom1.example", domains / "b@c", users / "alice",
                                   users / "bob", domains / "linked/last_login"})
      fs::create_directories(folder);
    write(domains / "trap", "");
    for (const char* link : {"linked/dovecot.bytes", "linked/last_login/bob"})
      fs::create_symlink(domains / "trap", domains / link);
    return pathsNow();
  }();
  return prepared;
}

// All records written since the last call, which are gone then. Nothing else was made or removed.
Records takeRecords() {
  Records records;
  const std::set<fs::path> paths = pathsNow();
  size_t prepared = 0;
  for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
    if (preparedFolders().count(*path) && ++prepared) continue;
    const fs::file_type type = symlink_status(*path).type();
    CHECK(type == fs::file_type::regular || type == fs::file_type::directory, *path);
    if (type == fs::file_type::regular) records[*path] = contentOf(*path);
    fs::remove(*path);
  }
  CHECK(prepared == preparedFolders().size(), "something was removed");
  CHECK(contentOf("/etc/virtual/trap").empty(), "a link was followed");
  return records;
}

// Whether the part of a path behind its root is that of a traffic record, a last login or, within
// a domain, its folder. Paths elsewhere are the fuzzer's own.
enum class Kind { kTraffic, kLastLogin, kFolder };
void watch(const std::string& path, Kind kind) {
  for (const std::string root : {"/etc/virtual/", kPanelUsers}) {
    if (!path.starts_with(root)) continue;
    std::vector<std::string> parts = {""};
    for (const char c : path.substr(root.size()))
      c == '/' ? parts.emplace_back() : parts.back() += c;
    CHECK(parts.size() == (root != kPanelUsers && kind == Kind::kLastLogin ? 3 : 2), path);
    CHECK(parts[1] == (kind == Kind::kTraffic ? "dovecot.bytes" : "last_login"), path);
    for (const std::string& part : parts) CHECK(part != "." && part != "..", path);
  }
}

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_mkdir(const char* path, mode_t mode);
int __wrap_open(const char* path, int flags, mode_t mode) {
  if (flags & O_CREAT) watch(path, flags & O_APPEND ? Kind::kTraffic : Kind::kLastLogin);
  return __real_open(path, flags, mode);
}
int __wrap_mkdir(const char* path, mode_t mode) {
  watch(path, Kind::kFolder);
  return __real_mkdir(path, mode);
}
}
