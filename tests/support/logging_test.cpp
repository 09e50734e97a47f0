// Where messages go, and in which form.
#include "support/logging.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>

#include "fake_time.h"
#include "support/cv_string.h"
#include "support/system.h"
#include "test_files.h"

namespace {

const std::string stamp = "2024:03:07-09:05:01:", pid = "[" + std::to_string(getpid()) + "]:";

std::string printedBy(const std::function<void()>& call) {
  const FakeTime clock(midday(2024, 3, 7) - 10499);
  testing::internal::CaptureStdout();
  errno = EXDEV;
  call();
  EXPECT_EQ(errno, EXDEV) << "no call changes errno";
  return testing::internal::GetCapturedStdout();
}

TEST(Logging, TracesArePrintedFromTheirLevelOnAndStampedAtSevens) {
  const std::string seven = "Thu Mar  7 09:05:01 2024", exact = "1 exact\n", plain = "2 plain\n";
  const auto at = [](int level, bool show_pid) {
    Logging log;
    log.debug_level = level, log.show_pid = show_pid;
    return printedBy([&] { log.debug(10, "%d plain", 2), log.debug(5, 7, "%d exact", 1); });
  };
  EXPECT_EQ(at(4, false) + at(5, true) + at(6, false), pid + exact);
  EXPECT_EQ(at(7, false) + at(9, false), seven + ": " + exact + exact);
  EXPECT_EQ(at(10, false), plain + exact);
  EXPECT_EQ(at(17, true), seven + pid + ": " + plain + seven + pid + ": " + exact);
}

TEST(Logging, ErrorsGoToTheirFileTheSystemLogOrStandardOutput) {
  Logging log;
  log.show_pid = true;
  EXPECT_EQ(printedBy([&] { log.errorLog("%s %%d", "50%"); }), "50% %d\n");
  EXPECT_EQ(printedBy([&] { log.errorLog_debug(1, "1"), log.allLog(1, "2"); }), "1\n2\n2\n");
  log.error_log_path = newString("/run/error");
  log.security_log_path = newString("/run/security");
  log.debug_level = 100;
  EXPECT_EQ(printedBy([&] { log.allLog(100, "%d", 1); }), pid + "1\n");
  log.show_pid = false;
  EXPECT_EQ(printedBy([&] { log.errorLog_debug(100, "2"), log.errorLog_debug(101, "3"); }), "2\n");
  log.use_syslog = true;
  openlog("test", LOG_PERROR, LOG_USER);
  const int mask = setlogmask(LOG_MASK(LOG_ERR));
  testing::internal::CaptureStderr();
  EXPECT_EQ(printedBy([&] { log.errorLog("4%%"); }), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "test: 4%\n") << "as an error, unstamped";
  setlogmask(mask);
  closelog();
  const std::string first = stamp + pid + " 1\n";
  EXPECT_EQ(contentOf("/run/error"), first + stamp + " 2\n" + stamp + " 3\n") << "appended";
  EXPECT_EQ(contentOf("/run/security"), first);
}

TEST(Logging, AFileThatCannotBeOpenedIsTracedAndTheLinePrintedFromLevelTen) {
  const std::string why = "Error opening /run/absent/log: No such file or directory\n";
  const auto printed = [](int level) {
    Logging log;
    log.error_log_path = newString("/run/absent/log");
    log.debug_level = level;
    return printedBy([&] { log.errorLog("lost"); });
  };
  EXPECT_EQ(printed(0) + "|" + printed(1) + printed(9) + printed(10),
            "|" + why + why + why + stamp + " lost\n");
  is_in_chroot = true;
  EXPECT_EQ(printed(10), stamp + " lost\n");
  is_in_chroot = false;
}

TEST(Logging, FilesAreWrittenAsTheLogsAccountAndWeStayWhoWeAre) {
  const std::string accounts = contentOf("/etc/passwd");
  mkdir("/run/logs", 0777);
  if (chown("/run/logs", 4711, 0) != 0) GTEST_SKIP() << "no ids but our own";
  for (const bool known : {false, true}) {
    write("/etc/passwd", accounts + (known ? "corvadmin:x:4711:4712::/:/bin/sh\n" : ""));
    Logging log;
    log.error_log_path = newString("/run/logs/error");
    EXPECT_EQ(setegid(4713) | (known ? seteuid(4714) : 0), 0);
    EXPECT_EQ(printedBy([&] { log.errorLog("text"); }), "");
    EXPECT_TRUE(geteuid() == (known ? 4714U : 0U) && getegid() == 4713U);
    EXPECT_EQ(setRootPriv(), 1);
    struct stat status {};
    EXPECT_EQ(stat("/run/logs/error", &status) | unlink("/run/logs/error"), 0);
    EXPECT_TRUE(status.st_uid == (known ? 4711U : 0U) && status.st_gid == (known ? 4712U : 0U));
  }
  write("/etc/passwd", accounts);
}

}  // namespace
