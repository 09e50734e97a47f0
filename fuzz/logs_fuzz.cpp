// A mail log of any bytes: a scan of it leaves what its lines leave one by one, and whoever writes
// it reaches nothing that strangers must never reach. An input is a zone, the time now, and the
// log.

#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "daemon/host_files.h"
#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "daemon/log_follower.h"
#include "daemon/state.h"
#include "fuzz.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;

// What has been left behind in tables, files and messages; it is gone then.
Table takeEffects() {
  Table effects;
  for (const auto& [kind, table] : {std::pair("host ", &host_list),
                                    {"user of ", &user_list},
                                    {"process ", &process_ips},
                                    {"login of ", &last_login}}) {
    for (const auto& [name, value] : entriesOf(*table)) effects[kind + name] = value;
    table->empty();
  }
  for (const auto& [path, content] : recordsWritten()) {
    effects[path] = content;
    fs::remove(path);
  }
  for (const std::string& message : newActivity()) effects["says " + message] += "once ";
  return effects;
}

Table effectsOfScan(const std::string& log) {
  write(log_file, log);
  last_pos = 0;
  updateHosts();
  return takeEffects();
}

Table effectsOfLines(const std::string& log) {
  for (std::string line : linesOf(log)) {
    if (line.ends_with('\r')) line.pop_back();
    parseLine(OwnedText(newString(line.c_str())).get());  // who reads behind its end is seen
  }
  writeHostFile();
  writeUserFile();
  write_last_logins();
  return takeEffects();
}

// Whatever the names are, records and the folders made for them lie just so deep.
void checkPath(const std::string& path, bool is_domain_login) {
  const bool of_domain = path.starts_with("/etc/virtual/");
  CHECK(of_domain || path.starts_with(kPanelUsers), path);
  for (const char* elsewhere : {"/../", "/./"})
    CHECK((path + "/").find(elsewhere) == path.npos, path);
  CHECK(std::ranges::count(path, '/') == (!of_domain ? 7 : is_domain_login ? 5 : 4), path);
}

}  // namespace

// The daemon's calls that make files and folders come here first (--wrap in CMakeLists.txt).
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_mkdir(const char* path, mode_t mode);
int __wrap_open(const char* path, int flags, mode_t mode) {
  static const std::set<std::string> kFixed = {kHostFile, kUserFile, kActivityLog};
  if (flags & O_CREAT && !kFixed.contains(path)) checkPath(path, !(flags & O_APPEND));
  return __real_open(path, flags, mode);
}
int __wrap_mkdir(const char* path, mode_t mode) {
  checkPath(path, false);
  return __real_mkdir(path, mode);
}
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static constexpr const char* kZones[] = {"UTC", "Europe/Berlin", "Australia/Lord_Howe"};
  for (const char* folder : {"/etc/virtual/dom1.example", "/usr/local/corvane/data/users/alice"})
    fs::create_directories(folder);
  if (!log_file) log_file = newString(kMailLogOtherwise);
  if (!buffer) buffer = newString(nullptr, buff_size);
  Input input(data, size);
  setenv("TZ", kZones[input.byte() % std::size(kZones)], 1);
  tzset();
  const FakeTime clock(1 + input.word() / 2);
  const std::string log(input.rest);
  const Table scan = effectsOfScan(log), each = effectsOfLines(log);
  CHECK(scan.size() == each.size(), std::to_string(scan.size()) + " effects of a scan");
  for (const auto& [effect, content] : scan) {
    CHECK(each.contains(effect) && each.at(effect) == content, effect + ": " + content);
    if (effect.starts_with("host ")) CHECK(log.find(effect.substr(5)) != log.npos, effect);
    const bool plain = std::ranges::all_of(effect, [](char c) { return c >= ' ' && c < 0x7f; });
    if (effect.find(": refused '") != effect.npos) CHECK(plain, effect);
  }
  CHECK(!scan.contains("host 127.0.0.1"), "the loopback address");
  return 0;
}
