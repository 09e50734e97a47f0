// What the sample lines cannot show of the records.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "daemon/last_login.h"
#include "daemon/state.h"

namespace fs = std::filesystem;

TEST(Records, ANewFolderBelongsToMailWhateverTheUmask) {
  const group* mail = getgrnam("mail");
  if (!mail) GTEST_SKIP() << "there is no group mail here";
  const gid_t gid = mail->gr_gid;
  if (chown("/etc/virtual", 0, gid) != 0) GTEST_SKIP() << "nothing can be given away here";
  for (const mode_t mask : {077U, 000U}) {
    fs::remove_all("/etc/virtual/dom1");
    fs::create_directory("/etc/virtual/dom1");
    last_login.empty();
    const mode_t before = umask(mask);
    log_last_login("bob@dom1", "192.0.2.7", 1700000000);
    write_last_logins();
    umask(before);
    struct stat status;
    ASSERT_EQ(stat("/etc/virtual/dom1/last_login", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0770u) << mask;
    EXPECT_EQ(status.st_uid, 0u);
    EXPECT_EQ(status.st_gid, gid);
    ASSERT_EQ(stat("/etc/virtual/dom1/last_login/bob", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0666u & ~mask);
  }
}
