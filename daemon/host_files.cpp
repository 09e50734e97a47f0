#include "daemon/host_files.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "daemon/activity_log.h"
#include "daemon/paths.h"
#include "daemon/state.h"
#include "support/stream.h"
#include "support/system.h"

namespace {

constexpr int64_t kNoHost = INT_MAX;
constexpr long long kMostProcesses = 1000;
constexpr size_t kLineLength = 64;  // most lines are shorter

// An empty text with room for a line of each entry. Room that is not used is never touched, and so
// costs no memory. A text that grows step by step would hold the content twice.
std::string roomFor(const ConfigFile& table) {
  std::string text;
  text.reserve(static_cast<size_t>(table.param) * kLineLength);
  return text;
}

// The content is put together first and handed over in one piece, so that the mail server's
// chance of reading half a file is as small as it can be.
void rewrite(const char* path, const std::string& content) {
  hosts = openStream(path, "w");
  if (!hosts) {
    log("Unable to open %s for writing : %s", path, strerror(errno));
    return;
  }
  setvbuf(hosts, nullptr, _IONBF, 0);  // a buffer would split the write, perhaps within an address
  fwrite(content.data(), 1, content.size(), hosts);
  fclose(hosts);
  hosts = nullptr;
}

}  // namespace

void clearOldIps() {
  oldies.empty();
  const int64_t now = time(nullptr);
  oldest_host = kNoHost;
  oldies.gather(true);
  host_list.forEach([now](const char* ip, const char* text) {
    const int then = static_cast<int>(strtoll(text, nullptr, 10));
    if (then + static_cast<int64_t>(lifetime_s()) < now) {
      oldies.addElement(ip, true, false);
      // The parenthesis that never closes is how this line has always read.
      trace("%s is too old at %s (%d > %d + (%d*60)\n", ip, text, static_cast<int>(now), then,
            minutes);
    } else if (then < oldest_host) {
      oldest_host = then;
    }
  });
  oldies.gather(false);
  if (oldies.count == 0) return;
  host_list.deleteParams(oldies);
  user_list.deleteParams(oldies);
}

void removeOldHosts() {
  const int64_t now = time(nullptr);
  if (oldest_host + lifetime_s() < now && host_list.param > 0) {
    clearOldIps();
    writeHostFile();
    writeUserFile();
  }
  if (process_ips.param > kMostProcesses) {
    log("process_ips has more than 1000 id's, emptying it.");
    process_ips.empty();
  }
}

void writeHostFile() {
  std::string content = roomFor(host_list);
  host_list.forEach([&content](const char* ip, const char*) { content.append(ip) += '\n'; });
  rewrite(kHostFile, content);
}

void writeUserFile() {
  std::string content = roomFor(user_list);
  user_list.forEach([&content](const char* ip, const char* user) {
    content.append(ip).append(": ").append(user) += '\n';
  });
  rewrite(kUserFile, content);
}
