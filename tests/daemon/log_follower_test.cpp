#include "daemon/log_follower.h"

#include <gtest/gtest.h>

#include "daemon/state.h"
#include "support/cv_string.h"
#include "test_files.h"

TEST(LogFollower, ALogThatCannotBeOpenedEndsTheScan) {
  delString(log_file);
  log_file = newString("/var/log/absent");
  write(kHostFile, "untouched");
  last_login.setParam("bob", "a record of the scan before", true, 1, false);
  last_pos = 7;
  newActivity();
  updateHosts();
  EXPECT_EQ(newActivity(), std::vector<std::string>{"Unable to open /var/log/absent for reading\t"
                                                    ": No such file or directory"});
  EXPECT_EQ(contentOf(kHostFile), "untouched");
  EXPECT_EQ(last_login.param, 0);
  EXPECT_EQ(last_pos, 7);
  parseLogFrom(0);  // not open: nothing
}
