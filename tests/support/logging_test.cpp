// Where messages go, and in which form.
#include "support/logging.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <string>

#include "fake_time.h"
#include "support/cv_string.h"
#include "support/log.h"
#include "support/system.h"
#include "test_files.h"

namespace {

template <typename Call>
std::string printedBy(Call call) {
  testing::internal::CaptureStdout();
  errno = EXDEV;
  call();
  EXPECT_EQ(errno, EXDEV) << "no call changes errno";
  return testing::internal::GetCapturedStdout();
}

time_t aMoment() {
  tm moment{};
  moment.tm_year = 124, moment.tm_mon = 2, moment.tm_mday = 7;
  moment.tm_hour = 9, moment.tm_min = 5, moment.tm_sec = 1, moment.tm_isdst = -1;
  return mktime(&moment);
}

TEST(Logging, TracesArePrintedFromTheirLevelOnAndStampedAtSevens) {
  const FakeTime clock(aMoment());
  const std::string pid = "[" + std::to_string(getpid()) + "]:", stamp = "Thu Mar  7 09:05:01 2024";
  const struct {
    int debug_level;
    bool show_pid;
    std::string want;
    const char* why;
  } rows[] = {
      {0, false, "", "below both"},
      {1, false, "1 exact\n", "the level"},
      {5, false, "1 exact\n", "exactly"},
      {4, true, pid + "1 exact\n", "pid"},
      {9, false, "1 exact\n", "below"},
      {10, false, "2 plain\n1 exact\n", "at the level"},
      {16, false, "2 plain\n1 exact\n", "no stamp"},
      {7, false, stamp + ": 1 exact\n", "stamped"},
      {17, true, stamp + pid + ": 2 plain\n" + stamp + pid + ": 1 exact\n", "stamped, pid"}};
  for (const auto& row : rows) {
    Logging log;
    log.debug_level = row.debug_level;
    log.show_pid = row.show_pid;
    EXPECT_EQ(printedBy([&] { log.debug(10, "%d plain", 2), log.debug(5, 1, "%d exact", 1); }),
              row.want)
        << row.why;
  }
  Logging log;
  log.debug_level = 3;
  EXPECT_EQ(printedBy([&] { log.debug(3, 100, "exactly"), log.debug(2, 100, "not"); }),
            "exactly\n");
}

TEST(Logging, ErrorsGoToTheirFileTheSystemLogOrStandardOutput) {
  const FakeTime clock(aMoment());
  EXPECT_STREQ(Log::getLogTime(), "2024:03:07-09:05:01");
  const std::string error = "/run/logging_error", security = "/run/logging_security",
                    pid = std::to_string(getpid());
  Logging log;
  log.show_pid = true;
  EXPECT_EQ(printedBy([&] { log.errorLog("%s %%d", "50%"); }), "50% %d\n") << "no stamp, no prefix";
  EXPECT_EQ(printedBy([&] { log.errorLog_debug(1, "once"), log.allLog(1, "twice"); }),
            "once\ntwice\ntwice\n");
  log.error_log_path = newString(error.c_str());
  log.security_log_path = newString(security.c_str());
  log.debug_level = 100;
  EXPECT_EQ(printedBy([&] { log.allLog(100, "%d", 1); }), "[" + pid + "]:1\n");
  log.show_pid = false;
  EXPECT_EQ(printedBy([&] { log.errorLog_debug(100, "2"), log.errorLog_debug(101, "3"); }), "2\n");
  const std::string stamp = "2024:03:07-09:05:01:";
  EXPECT_EQ(contentOf(error), stamp + "[" + pid + "]: 1\n" + stamp + " 2\n" + stamp + " 3\n")
      << "appended";
  EXPECT_EQ(contentOf(security), stamp + "[" + pid + "]: 1\n");
  log.use_syslog = true;
  openlog("test", LOG_PERROR, LOG_USER);
  const int mask = setlogmask(LOG_MASK(LOG_ERR));
  testing::internal::CaptureStderr();
  EXPECT_EQ(printedBy([&] { log.errorLog("4%%"); }), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "test: 4%\n") << "as an error, unstamped";
  setlogmask(mask);
  closelog();
  EXPECT_EQ(contentOf(error).find("4%"), std::string::npos);
}

TEST(Logging, AFileThatCannotBeOpenedIsTracedAndTheLinePrintedFromLevelTen) {
  const FakeTime clock(aMoment());
  const std::string reason = "Error opening /run/absent/log: No such file or directory\n";
  const struct {
    int debug_level;
    bool chrooted;
    std::string want;
  } rows[] = {{0, false, ""},
              {1, false, reason},
              {9, false, reason},
              {10, false, reason + "2024:03:07-09:05:01: lost\n"},
              {10, true, "2024:03:07-09:05:01: lost\n"}};
  for (const auto& row : rows) {
    Logging log;
    log.error_log_path = newString("/run/absent/log");
    log.debug_level = row.debug_level;
    is_in_chroot = row.chrooted;
    EXPECT_EQ(printedBy([&] { log.errorLog("lost"); }), row.want) << row.debug_level;
  }
  is_in_chroot = false;
}

TEST(Logging, FilesAreWrittenAsTheLogsAccountAndWeStayWhoWeAre) {
  const std::string accounts = contentOf("/etc/passwd"), path = "/run/logs/error";
  mkdir("/run/logs", 0777);
  if (chown("/run/logs", 4711, 0) != 0) GTEST_SKIP() << "no ids but our own";
  for (const bool known : {false, true}) {
    write("/etc/passwd", accounts + (known ? "corvadmin:x:4711:4712::/:/bin/sh\n" : ""));
    Logging log;
    log.error_log_path = newString(path.c_str());
    EXPECT_EQ(setegid(4713) | (known ? seteuid(4714) : 0), 0);
    EXPECT_EQ(printedBy([&] { log.errorLog("text"); }), "");
    EXPECT_EQ(geteuid(), known ? 4714U : 0U);
    EXPECT_EQ(getegid(), 4713U);
    EXPECT_EQ(setRootPriv(), 1);
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, known ? 4711U : 0U);
    EXPECT_EQ(status.st_gid, known ? 4712U : 4713U);
    unlink(path.c_str());
  }
  write("/etc/passwd", accounts);
}

}  // namespace
