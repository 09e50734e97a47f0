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
    host_list.empty();
    user_list.empty();
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

  static std::string processes() {
    std::string pids;
    for (long long i = 0; i < process_ips.param; ++i)
      pids += std::string(process_ips.getNameAt(i)) + " ";
    process_ips.empty();
    return pids;
  }
};

}  // namespace

TEST_F(LogFollower, AChangeIsALaterWholeSecond) {
  EXPECT_EQ(logChanged(), 0);
  EXPECT_EQ(newActivity(),
            std::vector<std::string>{"Cannot stat: /var/log/followed : No such file or directory"});
  writeAt("0123456789", 1000);
  EXPECT_EQ(logChanged(), 1) << "at start everything is new";
  EXPECT_EQ(logChanged(), 0);
  writeAt("0123456789 grown", 1000);
  EXPECT_EQ(logChanged(), 0) << "within the same second";
  EXPECT_EQ(file_size, 10);
  writeAt("0123456789 grown", 999);
  EXPECT_EQ(logChanged(), 0) << "earlier";
  last_pos = 10;
  writeAt("0123456789", 1001);
  EXPECT_EQ(logChanged(), 1);
  EXPECT_EQ(last_pos, 10) << "as large as before: taken for the same";
  writeAt("012345678", 1002);
  EXPECT_EQ(logChanged(), 1);
  EXPECT_EQ(last_pos, 0) << "smaller: from the top";
  EXPECT_EQ(file_size, 9);
  EXPECT_EQ(last_modification, 1002);
}

TEST_F(LogFollower, EveryByteIsReadOnce) {
  std::string content = connects(1) + "\r\n" + connects(2) + "\n";
  writeAt(content, 1000);
  updateHosts();
  EXPECT_EQ(processes(), "1 2 ");
  EXPECT_EQ(last_pos, static_cast<long long>(content.size()));
  updateHosts();
  EXPECT_EQ(processes(), "");

  // A line still being written counts as it stands; its rest is a line of its own.
  content += connects(3);
  writeAt(content, 1001);
  updateHosts();
  EXPECT_EQ(processes(), "3 ");
  content += "456\n" + connects(4) + "\n";
  writeAt(content, 1002);
  updateHosts();
  EXPECT_EQ(processes(), "4 ");
  EXPECT_EQ(last_pos, static_cast<long long>(content.size()));
}

TEST_F(LogFollower, LinesOfAnyLengthAndContentAreReadWhole) {
  writeAt(connects(1) + std::string(70000, 'x') + "\n" + std::string(5000, '\0') + "\n" +
              connects(2) + std::string("\0hidden", 7) + "\n\n\xff\xfe\n" + connects(3) + "\n",
          1000);
  updateHosts();
  EXPECT_EQ(buff_size, 131072) << "doubled as often as the long line needed";
  EXPECT_STREQ(process_ips.getValue("2"), "x2");
  EXPECT_EQ(processes(), "1 2 3 ");
}

TEST_F(LogFollower, ALogThatCannotBeOpenedEndsTheScan) {
  write(kHostFile, "untouched");
  last_login.setParam("bob", "a record of the scan before", true, 1, false);
  last_pos = 7;
  updateHosts();
  EXPECT_EQ(newActivity(), std::vector<std::string>{"Unable to open /var/log/followed for "
                                                    "reading\t: No such file or directory"});
  EXPECT_EQ(contentOf(kHostFile), "untouched");
  EXPECT_EQ(last_login.param, 0);
  EXPECT_EQ(last_pos, 7);

  std::filesystem::create_directory(kLog);  // can be opened, not read
  updateHosts();
  EXPECT_EQ(contentOf(kHostFile), "");
  parseLogFrom(0);  // not open: nothing
}

TEST_F(LogFollower, StandaloneModeSaysFromWhereItReads) {
  writeAt("x\n", 1000);
  last_pos = 1;
  is_daemon = 0;
  testing::internal::CaptureStdout();
  updateHosts();
  is_daemon = 1;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Log has been updated, scanning from 1\n");
}
