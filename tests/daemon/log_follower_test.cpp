#include "daemon/log_follower.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "daemon/state.h"
#include "support/cv_string.h"
#include "test_files.h"

namespace {

constexpr char kFollowed[] = "/var/log/followed";

void follow() {
  delString(log_file, buffer);
  log_file = newString(kFollowed);
  buffer = newString(nullptr, buff_size = 256);
  std::filesystem::create_directories("/etc/virtual");
  newActivity();
}

// The processes that a scan finds in what is added. Connect lines show best what has been read.
std::string scanned(const std::string& added) {
  write(kFollowed, contentOf(kFollowed) + added);
  process_ips.empty();
  updateHosts();
  std::string found;
  for (const auto& process : entriesOf(process_ips)) found += process.first;
  return found;
}

}  // namespace

TEST(LogFollower, EveryByteIsReadOnceWhateverItIs) {
  follow();
  const std::string one = "Nov 21 04:40:51 mail vm-pop3d[1]: Connect from x",
                    two = "Nov 21 04:40:51 mail vm-pop3d[2]: Connect from x";
  EXPECT_EQ(scanned(one + std::string(70000, 'x') + "\r\n" + std::string(5000, '\0') + "\n" + two),
            "12")
      << "a line still being written counts as it stands";
  EXPECT_EQ(buff_size, 131072) << "doubled as often as the long line needed";
  EXPECT_EQ(scanned(""), "");
  EXPECT_EQ(scanned("yz\n\n\xff\xfe\n" + one), "1") << "its rest is a line of its own";
  EXPECT_EQ(last_pos, static_cast<long long>(contentOf(kFollowed).size()));
}

TEST(LogFollower, ALogThatCannotBeOpenedEndsTheScan) {
  follow();
  remove(kFollowed);
  write(kHostFile, "untouched");
  last_login.setParam("bob", "a record of the scan before", true, 1, false);
  last_pos = 7;
  updateHosts();
  EXPECT_EQ(newActivity(), std::vector<std::string>{"Unable to open /var/log/followed for reading\t"
                                                    ": No such file or directory"});
  EXPECT_EQ(contentOf(kHostFile), "untouched");
  EXPECT_EQ(last_login.param, 0);
  EXPECT_EQ(last_pos, 7);
  parseLogFrom(0);  // not open: nothing
}
