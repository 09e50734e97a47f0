// Every sample line in tests/lines does what is written under it; CONTRIBUTING.md tells the form.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "effects.h"
#include "fake_time.h"

namespace fs = std::filesystem;

namespace {

// One block of a file: its settings, and what its lines have left behind so far.
class Block {
 public:
  ~Block() {
    is_daemon = 1;
    minutes = 30;
  }

  void prepare(const std::string& command) {
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    effects_.begin();
  }

  void set(const std::string& setting) {
    if (setting == " standalone") is_daemon = 0;
    if (setting == " last-logins") records_ = true;
    sscanf(setting.c_str(), " minutes %d", &minutes);
    if (setting.starts_with(" time ")) clock_.set(localTime(setting.c_str() + strlen(" time ")));
  }

  // Handles the line as a scan of it alone would, and returns what that does, an effect a line.
  std::string effectsOf(const std::string& sample) {
    const time_t now = time(nullptr);
    const bool dated = sample[0] == '@';
    const long age = dated ? atol(sample.c_str() + 1) : 0;
    const time_t when = now + age;
    char stamp[32];
    strftime(stamp, sizeof stamp, "%b %e %H:%M:%S mail ", localtime(&when));
    const std::string line = sample[0] == '|'
                                 ? sample.substr(1)
                                 : stamp + sample.substr(dated ? sample.find(' ') + 1 : 0);
    testing::internal::CaptureStdout();
    parseLine(line.c_str());
    if (records_) write_last_logins();
    const std::string printed = testing::internal::GetCapturedStdout();

    std::string effects = effects_.take(when);
    for (const std::string& text : linesOf(printed)) effects += "  prints " + text + "\n";
    return effects;
  }

 private:
  FakeTime clock_{localTime("2026-11-21 12:00:00")};
  bool records_ = false;
  Effects effects_;
};

// "{257n}" stands for 257 times the letter n, "NOW-60" for the time a minute ago.
std::string expanded(std::string text) {
  for (size_t at; (at = text.find("NOW")) != std::string::npos;) {
    const char* const offset = text.c_str() + at + strlen("NOW");
    char* behind;
    const time_t when = time(nullptr) + strtol(offset, &behind, 10);
    text.replace(at, static_cast<size_t>(behind - text.c_str()) - at, std::to_string(when));
  }
  for (size_t open; (open = text.find('{')) != std::string::npos;) {
    const size_t close = text.find('}', open), times = std::stoul(text.substr(open + 1));
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
  for (const auto& file : fs::directory_iterator(SAMPLE_LINES)) checkFile(file.path());
}
