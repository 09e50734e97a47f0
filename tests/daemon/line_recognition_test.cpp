// Every sample line, in tests/lines and in the recordings, does what is written beside it.

#include "daemon/line_recognition.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "daemon/state.h"
#include "test_files.h"

namespace fs = std::filesystem;

namespace {

using Table = std::map<std::string, std::string>;

Table entriesOf(ConfigFile& table) {
  Table content;
  for (long long i = 0; i < table.param; ++i) content[table.getNameAt(i)] = table.getValueAt(i);
  return content;
}

std::string stampOfNow() {
  const time_t now = time(nullptr);
  char stamp[32];
  strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", localtime(&now));
  return stamp;
}

void startAfresh() {
  for (const char* folder : {"virtual/dom1.example", "virtual/dom2.example", "virtual/b@c"})
    fs::create_directories(fs::path("/etc") / folder);
  for (const char* user : {"alice", "bob"})
    fs::create_directories(fs::path("/usr/local/corvane/data/users") / user);
  host_list.empty();
  user_list.empty();
  process_ips.empty();
}

// The traffic records that have been written, each as an effect; they are gone then.
std::string takeTraffic() {
  std::string effects;
  for (const char* top : {"/etc/virtual", "/usr/local/corvane/data/users"})
    for (const auto& file : fs::recursive_directory_iterator(top))
      if (file.path().filename() == "dovecot.bytes") {
        const std::string record = contentOf(file.path());
        long long total = 0, in = 0, out = 0;
        char type[8] = "";
        int name = 0;
        sscanf(record.c_str(), "%lld=type=%7[a-z]&inbound=%lld&outbound=%lld&email=%n", &total,
               type, &in, &out, &name);
        const auto name_end = record.rfind("&log_time=");
        effects += "  traffic " + (std::string(type) + " ") + std::to_string(in) + " " +
                   std::to_string(out) + " " +
                   record.substr(static_cast<size_t>(name), name_end - static_cast<size_t>(name)) +
                   " total " + std::to_string(total) + "\n";
        fs::remove(file.path());
      }
  return effects;
}

// What the line does, one effect a line.
std::string effectsOf(const std::string& line) {
  host_list.empty();
  user_list.empty();
  last_login.empty();
  Table processes = entriesOf(process_ips);
  parseLine(line.c_str());

  std::string effects;
  const Table users = entriesOf(user_list);
  for (const auto& [ip, when] : entriesOf(host_list)) {
    const auto user = users.find(ip);
    effects += "  admit " + ip + (user == users.end() ? "" : " " + user->second) + "\n";
  }
  for (const auto& [pid, text] : entriesOf(process_ips)) {
    if (processes[pid] != text || text.empty()) effects += "  process " + pid + " " + text + "\n";
    processes.erase(pid);
  }
  for (const auto& [pid, text] : processes) effects += "  forget " + pid + "\n";
  // Who is admitted, and has a name, has a last login; some have only that.
  for (const auto& [user, record] : entriesOf(last_login)) {
    const std::string ip = record.substr(record.find("&ip=") + 4);
    if (!host_list.getValue(ip.c_str())) effects += "  last-login " + ip + " " + user + "\n";
  }
  return effects + takeTraffic();
}

// A file of blocks, each starting afresh: a line (without stamp and host, or whole behind a '|'),
// and under it, indented, its effects.
void checkFile(const std::string& path) {
  startAfresh();
  const std::vector<std::string> text = linesOf(contentOf(path));
  for (size_t i = 0; i < text.size();) {
    const size_t row = i + 1;
    const std::string& line = text[i++];
    if (line.empty()) startAfresh();
    if (line.empty() || line[0] == '#') continue;
    std::string wanted;
    while (i < text.size() && text[i].starts_with("  ")) wanted += text[i++] + "\n";
    const bool whole = line[0] == '|';
    EXPECT_EQ(effectsOf(whole ? line.substr(1) : stampOfNow() + " mail " + line), wanted)
        << path << ":" << row << ": " << line;
  }
}

}  // namespace

TEST(LineRecognition, SampleLinesDoWhatIsWrittenUnderThem) {
  int files = 0;
  for (const auto& file : fs::directory_iterator(SAMPLE_LINES)) {
    checkFile(file.path());
    ++files;
  }
  EXPECT_GT(files, 0);
}

TEST(LineRecognition, RecordingsGiveWhatIsExpectedOfEachLine) {
  const std::string recording = std::string(RECORDINGS) + "/dovecot-2.3-default";
  const std::vector<std::string> lines = linesOf(contentOf(recording + ".log"));
  const std::vector<std::string> expected = linesOf(contentOf(recording + ".expect"));
  ASSERT_EQ(lines.size(), expected.size());
  startAfresh();
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string effects = effectsOf(stampOfNow() + lines[i].substr(stampOfNow().size()));
    const std::string wanted = expected[i] == "-" ? "" : "  " + expected[i];
    const size_t end = std::min(effects.find(" total "), effects.find('\n'));
    EXPECT_EQ(effects.substr(0, end), wanted) << recording << ".log:" << i + 1;
  }
}

// A crash or a half-written line may end a line anywhere: harmless, and never somebody else's
// address. (Under the sanitizers this also shows that no step looks beyond the end.)
TEST(LineRecognition, ALineCutAnywhereAdmitsNobodyElse) {
  for (const auto& file : fs::directory_iterator(SAMPLE_LINES)) {
    for (const std::string& text : linesOf(contentOf(file.path()))) {
      if (text.empty() || text[0] == '#' || text[0] == ' ') continue;
      const std::string line = text[0] == '|' ? text.substr(1) : stampOfNow() + " mail " + text;
      startAfresh();
      const std::string whole = effectsOf(line);
      for (size_t length = 0; length < line.size(); ++length) {
        startAfresh();
        const std::string cut = effectsOf(line.substr(0, length));
        if (cut.starts_with("  admit ")) {
          const std::string address = cut.substr(8, cut.find_first_of(" \n", 8) - 8);
          EXPECT_NE(whole.find("  admit " + address), std::string::npos) << line << ": " << length;
        }
      }
    }
  }
}

TEST(LineRecognition, StandaloneModeTracesConnectionsAndEnds) {
  is_daemon = 0;
  testing::internal::CaptureStdout();
  effectsOf(stampOfNow() + " mail vm-pop3d[12]: Connect from 192.0.2.7");
  effectsOf(stampOfNow() + " mail imapd[13]: imap service init from 192.0.2.8");
  effectsOf(stampOfNow() + " mail vm-pop3d[12]: Session ended");
  is_daemon = 1;
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "gCD: pid:12 192.0.2.7\ngCD: pid:13 192.0.2.8\nremoving pid 12\n");
}
