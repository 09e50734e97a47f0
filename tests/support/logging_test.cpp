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

std::string printedBy(const std::function<void()>& call) {
  const FakeTime clock(midday(2024, 3, 7) - 10499);
  testing::internal::CaptureStdout();
  errno = EXDEV;
  call();
  EXPECT_EQ(errno, EXDEV) << "no call changes errno";
  return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(Logging, TracesArePrintedFromTheirLevelOnAndStampedAtSevens) {
  const std::string seven = "Thu Mar  7 09:05:01 2024" + kPid + ": ";
  const std::pair<int, std::string> rows[] = {{4, ""},
                                              {5, kPid + "exact\n"},
                                              {6, ""},
                                              {7, seven + "exact\n"},
                                              {10, kPid + "plain\n" + kPid + "exact\n"},
                                              {17, seven + "plain\n" + seven + "exact\n"}};
  for (const auto& [level, want] : rows) {
    Logging log;
    log.debug_level = level;
    log.show_pid = true;
    const auto trace = [&log] {
      log.debug(10, "%s", "plain");
      log.debug(5, 7, "%s", "exact");
    };
    EXPECT_EQ(printedBy(trace), want) << level;
  }
}

TEST(Logging, ErrorsGoToTheirFileTheSystemLogOrStandardOutput) {
  const long before = liveTexts();
  {
    Logging log;
    EXPECT_EQ(printedBy([&] { log.errorLog("%s %%d", "50%"); }), "50% %d\n");
    EXPECT_EQ(printedBy([&] { log.allLog(1, "2"); }), "2\n2\n");
    for (char** text : {&log.option_text, &log.system_log_path}) *text = newString("released");
    log.error_log_path = newString("/run/error");
    log.security_log_path = newString("/run/security");
    log.show_pid = true;
    log.debug_level = 100;
    EXPECT_EQ(printedBy([&] { log.allLog(100, "%d", 1); }), kPid + "1\n");
    EXPECT_EQ(printedBy([&] { log.errorLog_debug(100, "2"); }), kPid + "2\n");
    EXPECT_EQ(printedBy([&] { log.errorLog_debug(101, "3"); }), "");
    log.use_syslog = true;
    EXPECT_EQ(printedBy([&] { log.errorLog("4"); }), "");
    const std::string start = kStamp + kPid;
    EXPECT_EQ(contentOf("/run/error"), start + " 1\n" + start + " 2\n" + start + " 3\n");
    EXPECT_EQ(contentOf("/run/security"), start + " 1\n");
  }
  EXPECT_EQ(liveTexts(), before);
}

TEST(Logging, AFileThatCannotBeOpenedIsTracedAndTheLinePrintedFromLevelTen) {
  Logging log;
  log.error_log_path = newString("/run/absent/log");
  const auto report = [&log] { log.errorLog("lost"); };
  EXPECT_EQ(printedBy(report), "");
  log.debug_level = 9;
  EXPECT_EQ(printedBy(report), "Error opening /run/absent/log: No such file or directory\n");
  is_in_chroot = true;
  EXPECT_EQ(printedBy(report), "");
  log.debug_level = 10;
  EXPECT_EQ(printedBy(report), kStamp + " lost\n");
  is_in_chroot = false;
}

TEST(Logging, FilesAreWrittenAsTheLogsAccountAndWeStayWhoWeAre) {
  const std::string accounts = contentOf("/etc/passwd");
  mkdir("/run/logs", 0777);
  if (chown("/run/logs", 4711, 0) != 0) GTEST_SKIP() << "no ids but our own";
  write("/etc/passwd", accounts + "corvadmin:x:4711:4712::/:/bin/sh\n");
  Logging log;
  log.error_log_path = newString("/run/logs/error");
  ASSERT_EQ(setegid(4713), 0);
  ASSERT_EQ(seteuid(4714), 0);
  EXPECT_EQ(printedBy([&] { log.errorLog("text"); }), "");
  EXPECT_EQ(geteuid(), 4714U);
  EXPECT_EQ(getegid(), 4713U);
  EXPECT_EQ(setRootPriv(), 1);
  struct stat status {};
  stat("/run/logs/error", &status);
  EXPECT_EQ(status.st_uid, 4711U);
  EXPECT_EQ(status.st_gid, 4712U);
  write("/etc/passwd", accounts);
}
