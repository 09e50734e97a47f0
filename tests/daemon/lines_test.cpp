// Every sample line in tests/lines does what is written under it; CONTRIBUTING.md tells the form.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>

#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "daemon/state.h"
#include "fake_time.h"
#include "test_files.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kRecordFolders[] = {"/etc/virtual", "/usr/local/corvane/data/users"};

Table filesWritten() {
  Table files;
  for (const char* folder : kRecordFolders)
    for (const auto& entry : fs::recursive_directory_iterator(folder))
      if (entry.is_regular_file()) files[entry.path()] = contentOf(entry.path());
  return files;
}

// One block of a file: its settings, and what its lines have left behind so far.
class Block {
 public:
  Block() {
    for (ConfigFile* table : {&host_list, &user_list, &process_ips}) table->empty();
    umount2("/etc/virtual", MNT_DETACH);
    for (const char* folder : kRecordFolders) {
      fs::remove_all(folder);
      fs::create_directories(folder);
    }
    newActivity();
  }
  ~Block() {
    is_daemon = 1;
    minutes = 30;
    umask(022);
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  void prepare(const std::string& command) {
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    files_ = filesWritten();
  }

  void set(const std::string& setting) {
    std::istringstream words(setting);
    std::string name;
    int year = 0, month = 0, day = 0;
    mode_t mask = 0;
    words >> name;
    if (name == "standalone") is_daemon = 0;
    if (name == "last-logins") records_ = true;
    if (name == "minutes") words >> minutes;
    if (name == "umask" && words >> std::oct >> mask) umask(mask);
    if (name == "date" && words >> year >> month >> day) clock_.set(midday(year, month, day));
  }

  // Handles the line as a scan of it alone would, and returns what that does, an effect a line.
  std::string effectsOf(const std::string& sample) {
    const time_t now = time(nullptr);
    long age = 0;
    std::string line = sample.substr(1);
    if (sample[0] != '|') {
      const size_t start = sample[0] == '@' ? sample.find(' ') + 1 : 0;
      if (start > 0) age = atol(sample.c_str() + 1);
      const time_t when = now + age;
      char stamp[32];
      strftime(stamp, sizeof stamp, "%b %e %H:%M:%S mail ", localtime(&when));
      line = stamp + sample.substr(start);
    }
    for (ConfigFile* table : {&host_list, &user_list, &last_login}) table->empty();
    Table processes = entriesOf(process_ips);
    testing::internal::CaptureStdout();
    parseLine(line.c_str());
    if (records_) write_last_logins();
    const std::string printed = testing::internal::GetCapturedStdout();

    std::string effects;
    const Table users = entriesOf(user_list);
    for (const auto& [ip, when] : entriesOf(host_list)) {
      const bool as_stamped = when == std::to_string(static_cast<int>(now + age));
      effects += "  admit " + ip + (users.count(ip) ? " " + users.at(ip) : "") +
                 (as_stamped ? "\n" : " at " + when + "\n");
    }
    for (const auto& [pid, text] : entriesOf(process_ips)) {
      const bool is_new = !processes.count(pid) || processes[pid] != text;
      if (is_new) effects += "  process " + pid + " " + text + "\n";
      processes.erase(pid);
    }
    for (const auto& entry : processes) effects += "  forget " + entry.first + "\n";
    for (const auto& [path, content] : filesWritten()) {
      const std::string& old = files_[path];
      if (content == old) continue;
      effects += "  " + path + " " + content.substr(content.starts_with(old) ? old.size() : 0);
      if (effects.back() != '\n') effects += '\n';
      files_[path] = content;
    }
    for (const std::string& message : newActivity()) effects += "  says " + message + "\n";
    for (const std::string& text : linesOf(printed)) effects += "  prints " + text + "\n";
    return relativeTo(now, effects);
  }

 private:
  // Times of day differ from run to run: writes them as NOW, NOW-60 and so on.
  static std::string relativeTo(time_t now, std::string text) {
    for (size_t at = 0; (at = text.find_first_of("0123456789", at)) != std::string::npos;) {
      const size_t digits = text.find_first_not_of("0123456789", at) - at;
      if (digits == 10 && text[at] == '1') {
        const long distance = atol(text.c_str() + at) - now;
        std::string shown = "NOW";
        if (distance != 0) shown += (distance > 0 ? "+" : "") + std::to_string(distance);
        text.replace(at, digits, shown);
      }
      at = text.find_first_not_of("0123456789", at);
    }
    return text;
  }

  FakeTime clock_{midday(2026, 11, 21)};
  bool records_ = false;
  Table files_;
};

// "{257n}" stands for 257 times the letter n.
std::string expanded(std::string text) {
  for (size_t open; (open = text.find('{')) != std::string::npos;) {
    const size_t close = text.find('}', open);
    const auto times = strtoul(text.c_str() + open + 1, nullptr, 10);
    text.replace(open, close + 1 - open, std::string(times, text[close - 1]));
  }
  return text;
}

void checkFile(const std::string& path) {
  const std::vector<std::string> text = linesOf(contentOf(path));
  auto block = std::make_unique<Block>();
  for (size_t i = 0; i < text.size();) {
    const size_t row = i + 1;
    const std::string line = expanded(text[i++]);
    if (line.empty()) {
      block.reset();
      block = std::make_unique<Block>();
    } else if (line[0] == '$') {
      block->prepare(line.substr(1));
    } else if (line[0] == '=') {
      block->set(line.substr(1));
    } else if (line[0] != '#') {
      std::string wanted;
      while (i < text.size() && text[i].starts_with("  ")) wanted += expanded(text[i++]) + "\n";
      EXPECT_EQ(block->effectsOf(line), wanted) << path << ":" << row << ": " << line;
    }
  }
}

}  // namespace

TEST(Lines, DoWhatIsWrittenUnderThem) {
  const auto open_files = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open_files();
  int files = 0;
  for (const auto& file : fs::directory_iterator(SAMPLE_LINES)) {
    checkFile(file.path());
    ++files;
  }
  EXPECT_GT(files, 0);
  EXPECT_EQ(open_files(), before) << "every file is closed again";
}

// A crash or a half-written line may end a line anywhere.
TEST(Lines, CutAnywhereAdmitNobodyElse) {
  const FakeTime clock(midday(2026, 11, 21));
  const auto hostsOf = [](const std::string& line) {
    for (ConfigFile* table : {&host_list, &process_ips}) table->empty();
    parseLine(line.c_str());
    return entriesOf(host_list);
  };
  for (const auto& file : fs::directory_iterator(SAMPLE_LINES))
    for (const std::string& text : linesOf(contentOf(file.path()))) {
      const std::string line = "Nov 21 12:00:00 mail " + expanded(text);
      const Table whole = hostsOf(line);
      for (size_t length = 0; length < line.size(); ++length)
        for (const auto& host : hostsOf(line.substr(0, length)))
          EXPECT_EQ(whole.count(host.first), 1u) << line << ": " << length;
    }
}
