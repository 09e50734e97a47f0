#include "daemon/log_follower.h"

#include <gtest/gtest.h>
#include <utime.h>

#include <filesystem>
#include <string>

#include "daemon/state.h"
#include "support/cv_string.h"
#include "test_files.h"

namespace {

constexpr char kLog[] = "/var/log/followed";

class LogFollower : public testing::Test {
 protected:
  LogFollower() {
    delString(log_file, buffer);
    log_file = newString(kLog);
    buff_size = 256;
    buffer = newString(nullptr, buff_size);
    last_pos = file_size = last_modification = 0;
    process_ips.empty();
    std::filesystem::remove_all(kLog);
    std::filesystem::create_directories("/etc/virtual");
    newActivity();
  }

  static void writeAt(const std::string& content, time_t modified) {
    write(kLog, content);
    const utimbuf times = {modified, modified};
    utime(kLog, &times);
  }

  // A connect line is the simplest whose effect shows.
  static std::string connects(int pid) {
    return "Nov 21 04:40:51 mail vm-pop3d[" + std::to_string(pid) + "]: Connect from x" +
           std::to_string(pid);
  }

  // The processes that a scan finds in what has been added.
  static std::string scanned() {
    process_ips.empty();
    updateHosts();
    std::string pids;
    for (long long i = 0; i < process_ips.param; ++i)
      pids += std::string(process_ips.getNameAt(i)) + " ";
    return pids;
  }
};

}  // namespace

TEST_F(LogFollower, EveryByteIsReadOnceWhateverItIs) {
  std::string content = connects(1) + std::string(70000, 'x') + "\r\n" + std::string(5000, '\0') +
                        "\n" + connects(2) + std::string("\0hidden", 7) + "\n\n\xff\xfe\n" +
                        connects(3);
  writeAt(content, 1000);
  EXPECT_EQ(scanned(), "1 2 3 ") << "a line still being written counts as it stands";
  EXPECT_EQ(buff_size, 131072) << "doubled as often as the long line needed";
  EXPECT_STREQ(process_ips.getValue("2"), "x2");
  EXPECT_EQ(last_pos, static_cast<long long>(content.size()));
  EXPECT_EQ(scanned(), "");
  content += "456\n" + connects(4) + "\n";
  writeAt(content, 1001);
  EXPECT_EQ(scanned(), "4 ") << "the rest of the line is a line of its own";
}

TEST_F(LogFollower, ALogThatCannotBeOpenedEndsTheScan) {
  write(kHostFile, "untouched");
  last_login.setParam("bob", "a record of the scan before", true, 1, false);
  last_pos = 7;
  is_daemon = 0;
  testing::internal::CaptureStdout();
  updateHosts();
  is_daemon = 1;
  const std::string why =
      "Unable to open /var/log/followed for reading\t: No such file or directory";
  EXPECT_EQ(newActivity(), std::vector{why});
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(printed.starts_with("Log has been updated, scanning from 7\n")) << printed;
  EXPECT_EQ(contentOf(kHostFile), "untouched");
  EXPECT_EQ(last_login.param, 0);
  EXPECT_EQ(last_pos, 7);
  parseLogFrom(0);  // not open: nothing
}
