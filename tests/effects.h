// What lines of the mail log have done: tables, records and the activity log beside what they were.
#pragma once

#include <filesystem>
#include <utility>

#include "daemon/state.h"
#include "test_files.h"

class Effects {
 public:
  // Only the domain dom1 and the user bob have folders then, which are empty.
  Effects() {
    for (const char* folder : {kDomains, kPanelUsers}) std::filesystem::remove_all(folder);
    std::filesystem::create_directories("/etc/virtual/dom1");
    std::filesystem::create_directories("/usr/local/corvane/data/users/bob");
    begin();
  }

  // Empties the tables and takes all that is there for known.
  void begin() {
    process_ips.empty();
    take(0);
  }

  // What has been done since the last call, an effect a line, in the form of tests/lines. Logins of
  // the time `when` go without it. Hosts, users and last logins are gone then.
  std::string take(time_t when) {
    std::string effects;
    const Table users = entriesOf(user_list);
    for (const auto& [ip, then] : entriesOf(host_list))
      effects += "  admit " + ip + (users.contains(ip) ? " " + users.at(ip) : "") +
                 (then == std::to_string(static_cast<int>(when)) ? "\n" : " at " + then + "\n");
    for (const auto& [path, content] : recordsWritten()) {
      const std::string old = std::exchange(files_[path], content);
      if (content == old) continue;
      effects += "  " + path + " " + content.substr(content.starts_with(old) ? old.size() : 0);
      if (effects.back() != '\n') effects += '\n';
    }
    for (const std::string& message : newActivity()) effects += "  says " + message + "\n";
    for (ConfigFile* table : {&host_list, &user_list, &last_login}) table->empty();
    return effects;
  }

 private:
  Table files_;
};
