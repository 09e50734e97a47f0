// A mail log of any bytes, read as a scan reads it or line by line: what is admitted, recorded and
// reported.

#include <regex.h>

#include <cstdio>

#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "daemon/log_follower.h"
#include "daemon/state.h"
#include "fake_time.h"
#include "orders.h"
#include "records.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

constexpr time_t kNow = 1795236060;  // 2026-11-21 04:41:00 UTC
constexpr char kStamp[] = "Nov 21 04:40:51 mail ";

bool matches(const std::string& text, const char* pattern) {
  static auto& compiled = *new std::map<const char*, regex_t>;  // never released
  const auto [found, is_new] = compiled.try_emplace(pattern);
  if (is_new) CHECK(regcomp(&found->second, pattern, REG_EXTENDED | REG_NOSUB) == 0, pattern);
  return regexec(&found->second, text.c_str(), 0, nullptr, 0) == 0;
}

bool isAddress(const std::string& text) {
#define FROM_1 "0*([1-9][0-9]?|1[0-9][0-9]|2[0-4][0-9]|25[0-5])"
#define FROM_0 "\\.(" FROM_1 "|0+)"
  return matches(text, "^" FROM_1 FROM_0 FROM_0 FROM_0 "(\\.[0-9.]*)?$");
}

bool isLogin(const std::string& record) {
  const size_t ip = record.find("&ip=") + 4;
  return matches(record, "^when=-?[0-9]+&ip=[0-9.]+$") &&
         (record.substr(ip) == "127.0.0.1" || host_list.getValue(record.c_str() + ip));
}

void checkTables(std::string_view log) {
  for (ConfigFile* table : {&host_list, &user_list, &process_ips, &last_login})
    for (long long i = 0; i < table->param; ++i) {
      const std::string name = table->getNameAt(i), value = table->getValueAt(i);
      CHECK(i == 0 || keyOfText(table->getNameAt(i - 1)) < keyOfText(name.c_str()), name);
      if (table == &host_list)
        CHECK(isAddress(name) && name != "127.0.0.1" && log.find(name) != log.npos &&
                  matches(value, "^-?[0-9]+$"),
              name + "=" + value);
      else if (table == &user_list)
        CHECK(host_list.getValue(name.c_str()), name);
      else if (table == &process_ips)
        CHECK(matches(name, "^(0|-?[1-9][0-9]*)$"), name);
      else
        CHECK(!name.empty() && isLogin(value), name + ": " + value);
    }
}

// Whatever the name of a record is, the fields before it and behind it are what the server wrote.
void checkRecords() {
  constexpr char kTraffic[] =
      "^-?[0-9]+=type=(pop|imap)&inbound=-?[0-9]+&outbound=-?[0-9]+&email="
      ".*&log_time=[0-9]+$";
  for (const auto& [path, content] : takeRecords()) {
    if (isLogin(content)) continue;
    CHECK(path.ends_with("/dovecot.bytes") && content.ends_with('\n'), path + ": " + content);
    for (const std::string& line : linesOf(content)) CHECK(matches(line, kTraffic), path + line);
  }
}

// Each message is one line, and shows no refused name but as printable ASCII.
void checkActivity() {
  for (const std::string& message : newActivity())
    CHECK(matches(message,
                  "^(Error reading't reading all of the value from the date: |Unable to "
                  "parse the date$|Cannot open /|write_last_logins: (could not find|unable "
                  "to create) /etc/virtual/|(write_last_logins|log_dovecot_bandwidth): "
                  "refused '[ -&(-~]*': as a path it would leave its folder$)"),
          message);
}

void scan(std::string_view log) {
  for (ConfigFile* table : {&host_list, &user_list, &process_ips, &last_login}) table->empty();
  if (log.empty()) return;
  if (!buffer) buffer = newString(nullptr, buff_size);
  if (log.size() & 2) {
    maillog = fmemopen(const_cast<char*>(log.data()), log.size(), "r");
    parseLogFrom(0);
    fclose(maillog);
  } else {  // each line in an array that ends with it: who reads on is seen
    for (Input lines(log); !lines.rest.empty();)
      parseLine(OwnedText(newString(lines.line().c_str())).get());
  }
  write_last_logins();
  checkTables(log);
  checkRecords();
  checkActivity();
}

// Whoever chooses a name, of bytes that mail servers let through, chooses nothing but the name.
void checkName(std::string name) {
  std::erase_if(name, [](char c) { return strchr(" '>\r", c) != nullptr; });
  name.resize(std::min<size_t>(name.size(), 100));
  std::string log;
  for (const std::string& line :
       {std::string("imapd[8]: imap service init from 192.0.2.8"),
        std::string("vm-pop3d[9]: Connect from 192.0.2.9"), "imapd[8]: Login user=" + name + " x",
        "dovecot: imap-login: Login: user=<" + name + ">, rip=192.0.2.7, lip=192.0.2.1",
        "vm-pop3d[9]: User '" + name + "' of 'dom1.example' logged in",
        "vm-pop3d[6]: User '" + name + "' of 'dom1.example' logged in from 192.0.2.6, 3 messages"})
    log += kStamp + line + "\n";
  scan(log);
  // An empty name in quotes is no name: see tests/lines/classic.txt.
  CHECK(host_list.param == (name.empty() ? 2 : 4) && process_ips.param == (name.empty() ? 2 : 3),
        name);
  for (const auto& [address, user] : {std::pair("192.0.2.7", name),
                                      {"192.0.2.8", name.empty() ? printable(nullptr) : name},
                                      {"192.0.2.6", name + "@dom1.example"},
                                      {"192.0.2.9", name + "@dom1.example"}}) {
    if (name.empty() && user[0] == '@') continue;
    CHECK(printable(host_list.getValue(address)) == std::to_string(kNow - 9), name);
    CHECK(printable(user_list.getValue(address)) == user, name);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const FakeTime clock(kNow);
  preparedFolders();
  is_daemon = size % 2;
  Input input(data, size);
  scan(input.rest);
  checkName(input.line());
  return 0;
}
