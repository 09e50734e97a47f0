// log_dovecot_bandwidth(): which record a message leaves, and where. An input is a time and
// messages, one a line.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "daemon/bandwidth.h"
#include "daemon/state.h"
#include "records.h"

namespace {

struct Session {
  std::string name, type, event;
  long long in = 0, out = 0;

  std::string record(long when) const {
    const auto total = static_cast<uint64_t>(in) + static_cast<uint64_t>(out);
    std::ostringstream text;
    text << static_cast<long long>(total) << "=type=" << type << "&inbound=" << in
         << "&outbound=" << out << "&email=" << name << "&log_time=" << when << "\n";
    return text.str();
  }

  // The folder of its record, none if the name would leave its folder.
  fs::path folder() const {
    const size_t at = name.find('@');
    const std::string last = name.substr(at + 1);  // all of it if there is no '@'
    for (const std::string& part : {name.substr(0, at), last})
      if (part == "." || part == ".." || part.find('/') != std::string::npos) return {};
    return fs::path(at == std::string::npos ? kPanelUsers : kDomains) / last;
  }

  bool readCounts() {
    const char* bytes = strstr(event.c_str(), " bytes=");
    const char* retrieved = strstr(event.c_str(), " retr=");
    const char* slash = retrieved ? strchr(retrieved, '/') : nullptr;
    const char* inbound = strstr(event.c_str(), " in=");
    if (bytes) return sscanf(bytes, " bytes=%lld/%lld", &in, &out), true;
    if (type == "pop") return slash && (sscanf(slash, "/%lld", &out), true);
    return inbound && (sscanf(inbound, " in=%lld out=%lld", &in, &out), true);
  }

  // False if the message does not tell of an ended session and its traffic.
  bool read(const std::string& message) {
    const size_t open = std::min(message.find('('), message.size());
    const size_t close = message.find(')', open + 1), second = message.find(')', open + 2);
    const size_t blank = second == std::string::npos ? second : message.find(' ', second);
    if (close == std::string::npos || close - open > 257 || blank == std::string::npos)
      return false;
    name = message.substr(open + 1, close - open - 1);
    type = message.starts_with("pop3(") ? "pop" : "imap";
    event = message.substr(blank + 1);
    for (const char* end : {"Disconnected: Logged out", "Logged out", "Disconnected for inactivity",
                            "Disconnected: Disconnected in IDLE"})
      if (event.starts_with(end)) return readCounts();
    return false;
  }
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  preparedFolders();
  is_daemon = size % 2;
  Input input(data, size);
  const long when = static_cast<int>(input.word()) * 16L;
  Records want;
  size_t messages = 0;
  while (!input.rest.empty()) {
    const std::string message = input.line();
    Session session;
    std::error_code too_long;
    if (session.read(message)) {
      const fs::path folder = session.folder(), path = folder / "dovecot.bytes";
      if (is_directory(folder, too_long) && !is_symlink(path))
        want[path.lexically_normal()] += session.record(when);
      else if (folder.empty() || exists(folder, too_long))
        ++messages;  // refused, or cannot be written
    }
    log_dovecot_bandwidth(message.c_str(), when);
  }
  Records got = takeRecords();
  for (const auto& [path, record] : want) CHECK(got[path] == record, got[path] + "not\n" + record);
  CHECK(got.size() == want.size(), got.begin()->first);
  CHECK(newActivity().size() == messages, std::to_string(messages));
  return 0;
}
