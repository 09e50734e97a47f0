// Where messages go, and in which form.
#include "support/logging.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "fake_time.h"
#include "support/cv_string.h"
#include "support/system.h"
#include "test_files.h"

namespace {

const std::string kStamp = "2024:03:07-09:05:01:", kPid = "[" + std::to_string(getpid()) + "]:";

class LoggingTest : public testing::Test {
 protected:
  LoggingTest() { log_.show_pid = true; }

  std::string printedBy(int level, const std::function<void(Logging&)>& call) {
    const FakeTime clock(midday(2024, 3, 7) - 10499);
    log_.debug_level = level;
    testing::internal::CaptureStdout();
    errno = EXDEV;
    call(log_);
    EXPECT_EQ(errno, EXDEV) << "no call changes errno";
    return testing::internal::GetCapturedStdout();
  }

  Logging log_;
};

}  // namespace

TEST_F(LoggingTest, TracesArePrintedFromTheirLevelOnAndStampedAtSevens) {
  const std::string seven = "Thu Mar  7 09:05:01 2024" + kPid + ": exact\n";
  const std::pair<int, std::string> rows[] = {{4, ""},    {5, kPid + "exact\n"}, {6, ""},
                                              {7, seven}, {8, kPid + "exact\n"}, {17, seven}};
  for (const auto& [level, want] : rows)
    EXPECT_EQ(printedBy(level, [](Logging& log) { log.debug(5, 7, "%s", "exact"); }), want)
        << level;
  const auto plain = [](Logging& log) { log.debug(10, "%s", "plain"); };
  EXPECT_EQ(printedBy(9, plain), "");
  EXPECT_EQ(printedBy(10, plain), kPid + "plain\n");
}

TEST_F(LoggingTest, ErrorsGoToTheirFileOrStandardOutput) {
  const auto all = [](Logging& log) { log.allLog(100, "%s", "all"); };
  const auto error = [](Logging& log) { log.errorLog_debug(100, "%s", "error"); };
  EXPECT_EQ(printedBy(0, error), "error\n");
  EXPECT_EQ(printedBy(0, all), "all\nall\n");
  log_.error_log_path = newString("/run/error");
  log_.security_log_path = newString("/run/security");
  EXPECT_EQ(printedBy(100, all), kPid + "all\n");
  EXPECT_EQ(printedBy(100, error), kPid + "error\n");
  EXPECT_EQ(printedBy(99, [](Logging& log) { log.errorLog("100%%"); }), "");
  const std::string start = kStamp + kPid + " ";
  EXPECT_EQ(contentOf("/run/security"), start + "all\n");
  EXPECT_EQ(contentOf("/run/error"), start + "all\n" + start + "error\n" + start + "100%\n");
  delString(log_.error_log_path);
  log_.error_log_path = newString("/run/absent/log");
  EXPECT_EQ(printedBy(10, [](Logging& log) { log.errorLog("lost"); }),
            kPid + "Error opening /run/absent/log: No such file or directory\n" + kStamp + kPid +
                " lost\n");
}

TEST_F(LoggingTest, FilesAreWrittenAsTheLogsAccountAndWeStayWhoWeAre) {
  const std::string accounts = contentOf("/etc/passwd");
  mkdir("/run/logs", 0777);
  if (chown("/run/logs", 4711, 0) != 0) GTEST_SKIP() << "no ids but our own";
  write("/etc/passwd", accounts + "corvadmin:x:4711:4712::/:/bin/sh\n");
  log_.error_log_path = newString("/run/logs/error");
  ASSERT_EQ(setegid(4713), 0);
  ASSERT_EQ(seteuid(4714), 0);
  EXPECT_EQ(printedBy(0, [](Logging& log) { log.errorLog("text"); }), "");
  EXPECT_EQ(geteuid(), 4714U);
  EXPECT_EQ(getegid(), 4713U);
  EXPECT_EQ(setRootPriv(), 1);
  struct stat status {};
  stat("/run/logs/error", &status);
  EXPECT_EQ(status.st_uid, 4711U);
  EXPECT_EQ(status.st_gid, 4712U);
  write("/etc/passwd", accounts);
}
