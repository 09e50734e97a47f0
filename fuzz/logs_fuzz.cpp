// A mail log of any bytes: scans of it leave what its lines leave one by one, and whoever writes
// it reaches nothing that strangers must never reach. An input is a zone, the time now, how much of
// the log is there at first, and the log.

#include <fcntl.h>

#include <algorithm>
#include <set>

#include "daemon/host_files.h"
#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "daemon/log_follower.h"
#include "effects.h"
#include "fuzz.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

// What two scans of a log that grows do, or its lines one by one, where nothing was before.
std::string effectsOf(const std::vector<std::string>& parts, bool by_scan) {
  Effects effects;
  write(log_file, "");
  last_pos = 0;
  last_login.setParam("bob", "a record of the scan before", true, 1, false);
  for (const std::string& part : parts) {
    if (by_scan) {
      write(log_file, contentOf(log_file) + part);
      updateHosts();
      parseLogFrom(0);  // the log is closed: nothing
      continue;
    }
    last_login.empty();
    for (std::string line : linesOf(part)) {
      if (line.ends_with('\r')) line.pop_back();
      parseLine(OwnedText(newString(line.c_str())).get());  // who reads behind its end is seen
    }
    writeHostFile();
    writeUserFile();
    write_last_logins();
  }
  return effects.take(0);
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
  if (!log_file) log_file = newString(kMailLogOtherwise);
  if (!buffer) buffer = newString(nullptr, buff_size);
  Input input(data, size);
  setenv("TZ", kZones[input.byte() % std::size(kZones)], 1);
  tzset();
  // Until 2033: the times of hosts have 32 bits.
  const FakeTime clock(1 + input.word() % 2'000'000'000);
  const size_t about = input.byte() * input.rest.size() / 256;
  const std::string log(input.rest);
  const size_t middle = log.rfind('\n', about) + 1;
  const std::vector<std::string> parts = {log.substr(0, middle), log.substr(middle)};
  std::string ended = log + "\n";  // where lines may end, however they do
  for (const char end : {'\r', '\0'}) std::ranges::replace(ended, end, '\n');
  const std::string scan = effectsOf(parts, true), each = effectsOf(parts, false);
  CHECK(scan == each, "by the scan:\n" + scan + "line by line:\n" + each);
  for (const std::string& effect : linesOf(scan)) {
    const bool plain = std::ranges::all_of(effect, [](char c) { return c >= ' ' && c < 0x7f; });
    for (const char* who : {"  says write_last_logins", "  says log_dovecot_bandwidth"})
      if (effect.starts_with(who + std::string(": refused '"))) CHECK(plain, effect);
    if (!effect.starts_with("  admit ")) continue;
    const std::string address = effect.substr(8, effect.find(' ', 8) - 8);
    CHECK(address != "127.0.0.1", effect);
    const bool is_whole =
        ended.find(address + ",") != ended.npos || ended.find(" " + address + "\n") != ended.npos;
    CHECK(is_whole, effect);  // an address that is cut short is another one
  }
  return 0;
}
