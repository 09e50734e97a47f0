#include "daemon/activity_log.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "daemon/state.h"
#include "fake_time.h"
#include "test_files.h"

TEST(ActivityLog, AMessageIsALineWithItsLocalTime) {
  newActivity();
  FakeTime clock(midday(2027, 1, 2) + 3 * 3600 + 4 * 60 + 5);
  log("first %d%% of %s", 1, "%s");
  std::filesystem::rename(kActivityLog, "/var/log/rotated");
  is_daemon = 0;
  testing::internal::CaptureStdout();
  log("second");
  is_daemon = 1;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "2027:01:02-15:04:05: second\n");
  log("third");
  EXPECT_EQ(contentOf("/var/log/rotated"), "2027:01:02-15:04:05: first 1% of %s\n");
  EXPECT_EQ(contentOf(kActivityLog), "2027:01:02-15:04:05: second\n2027:01:02-15:04:05: third\n");
}
