// Where messages go, and in which form.
#include "support/logging.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "fake_time.h"
#include "support/cv_string.h"
#include "test_files.h"

namespace {

const std::string kStart = "2024:03:07-09:05:01:[" + std::to_string(getpid()) + "]: ";
const std::string kPid = kStart.substr(20, kStart.size() - 21);

std::string printedBy(Logging& log, int level, const std::function<void(Logging&)>& call) {
  const FakeTime clock(localTime("2024-03-07 09:05:01"));
  log.debug_level = level;
  testing::internal::CaptureStdout();
  errno = EXDEV;
  call(log);
  EXPECT_EQ(errno, EXDEV) << "no call changes errno";
  return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(LoggingTest, TracesArePrintedFromTheirLevelOnAndStampedAtSevens) {
  Logging log;
  log.show_pid = true;
  const std::string seven = "Thu Mar  7 09:05:01 2024" + kPid + ": exact\n";
  const std::pair<int, std::string> rows[] = {{4, ""}, {5, kPid + "exact\n"}, {6, ""}, {7, seven}};
  for (const auto& [level, want] : rows)
    EXPECT_EQ(printedBy(log, level, [](Logging& to) { to.debug(5, 7, "%s", "exact"); }), want);
  const auto plain = [](Logging& to) { to.debug(10, "%s", "plain"); };
  EXPECT_EQ(printedBy(log, 9, plain), "");
  EXPECT_EQ(printedBy(log, 10, plain), kPid + "plain\n");
}

TEST(LoggingTest, ErrorsGoToTheirFileOrStandardOutput) {
  Logging log;
  const auto all = [](Logging& to) { to.allLog(100, "%s", "all"); };
  EXPECT_EQ(printedBy(log, 100, all), "all\nall\nall\n");
  log.show_pid = true;
  log.error_log_path = newString("/run/error");
  log.security_log_path = newString("/run/security");
  EXPECT_EQ(printedBy(log, 100, all), kPid + "all\n");
  EXPECT_EQ(printedBy(log, 99, [](Logging& to) { to.errorLog("100%%"); }), "");
  EXPECT_EQ(contentOf("/run/security"), kStart + "all\n");
  EXPECT_EQ(contentOf("/run/error"), kStart + "all\n" + kStart + "100%\n");
  delString(log.error_log_path);
  log.error_log_path = newString("/run/absent/log");
  EXPECT_EQ(printedBy(log, 10, [](Logging& to) { to.errorLog_debug(10, "lost"); }),
            kPid + "Error opening /run/absent/log: No such file or directory\n" + kStart +
                "lost\n" + kPid + "lost\n");
}
