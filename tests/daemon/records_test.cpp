// What logins and sessions leave behind: last-login records and traffic records.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "daemon/bandwidth.h"
#include "daemon/last_login.h"
#include "daemon/line_recognition.h"
#include "daemon/state.h"
#include "fake_time.h"
#include "test_files.h"

namespace fs = std::filesystem;

namespace {

class Records : public testing::Test {
 protected:
  Records() {
    last_login.empty();
    for (const char* folder : {"/etc/virtual", "/usr/local/corvane/data/users"}) {
      fs::remove_all(folder);
      fs::create_directories(folder);
    }
    newActivity();
  }

  // Writes the last login of `who` alone, and returns what the activity log says of it.
  static std::vector<std::string> writeLogin(const std::string& who) {
    last_login.empty();
    log_last_login(who.c_str(), "192.0.2.7", 1700000000);
    write_last_logins();
    return newActivity();
  }

  // Every file below the folders of records, with its content.
  static std::string filesWritten() {
    std::vector<std::string> files;
    for (const char* folder : {"/etc/virtual", "/usr/local/corvane/data/users"})
      for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::string text;
    for (const std::string& file : files) text += file + ": " + contentOf(file) + "\n";
    return text;
  }
};

using Messages = std::vector<std::string>;

}  // namespace

TEST_F(Records, EachUserHasAFileOfTheLatestLogin) {
  fs::create_directory("/etc/virtual/dom1");
  fs::create_directory("/usr/local/corvane/data/users/alice");
  const int first = dup(0);
  close(first);
  log_last_login("bob@dom1", "192.0.2.7", 1700000000);
  log_last_login("john..doe@dom1", "192.0.2.8", -1);
  log_last_login("bob@dom1", "192.0.2.9", 1700000001);
  log_last_login("alice", "192.0.2.7", 5000000000);
  log_last_login("nobody", "192.0.2.7", 1700000000);  // has no folder: no trace, no message
  log_last_login("", "192.0.2.7", 1700000000);
  write_last_logins();
  const int next = dup(0);
  close(next);
  EXPECT_EQ(next, first) << "every file is closed again";
  const char* const expected =
      "/etc/virtual/dom1/last_login/bob: when=1700000001&ip=192.0.2.9\n"
      "/etc/virtual/dom1/last_login/john..doe: when=-1&ip=192.0.2.8\n"
      "/usr/local/corvane/data/users/alice/last_login: when=5000000000&ip=192.0.2.7\n";
  EXPECT_EQ(filesWritten(), expected);
  EXPECT_EQ(last_login.param, 4) << "writing does not empty the table";

  EXPECT_EQ(writeLogin("bob@dom1"), Messages{});
  EXPECT_EQ(contentOf("/etc/virtual/dom1/last_login/bob"), "when=1700000000&ip=192.0.2.7");
  EXPECT_EQ(newActivity(), Messages{});
}

TEST_F(Records, ANewFolderBelongsToMailWhateverTheUmask) {
  const group* mail = getgrnam("mail");
  if (!mail) GTEST_SKIP() << "there is no group mail here";
  const gid_t gid = mail->gr_gid;
  if (chown("/etc/virtual", 0, gid) != 0) GTEST_SKIP() << "nothing can be given away here";
  for (const mode_t mask : {077U, 000U}) {
    fs::remove_all("/etc/virtual/dom1");
    fs::create_directory("/etc/virtual/dom1");
    const mode_t before = umask(mask);
    writeLogin("bob@dom1");
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

TEST_F(Records, WhatCannotBeWrittenIsReportedAndTheNextIs) {
  fs::create_directories("/etc/virtual/folder/last_login/bob");
  fs::create_directories("/etc/virtual/linked/last_login");
  fs::create_symlink("/etc/virtual/elsewhere", "/etc/virtual/linked/last_login/dangling");
  write("/etc/virtual/victim", "untouched");
  fs::create_symlink("/etc/virtual/victim", "/etc/virtual/linked/last_login/bob");
  mkfifo("/etc/virtual/linked/last_login/pipe", 0600);
  write("/etc/virtual/file", "a file");
  fs::create_directory("/etc/virtual/last");
  const std::string cannot_open = "Cannot open ", why = " for logging last login";
  const struct {
    const char* who;
    std::string message;
  } rows[] = {
      {"bob@absent", "write_last_logins: could not find /etc/virtual/absent to log bob@absent"},
      {"a@b@c", "write_last_logins: could not find /etc/virtual/b@c to log a@b@c"},
      {"bob@file",
       "write_last_logins: unable to create /etc/virtual/file/last_login: Not a directory"},
      {"bob@folder", cannot_open + "/etc/virtual/folder/last_login/bob" + why},
      {"@folder", cannot_open + "/etc/virtual/folder/last_login/" + why},
      {"bob@linked", cannot_open + "/etc/virtual/linked/last_login/bob" + why},
      {"dangling@linked", cannot_open + "/etc/virtual/linked/last_login/dangling" + why},
      {"pipe@linked", cannot_open + "/etc/virtual/linked/last_login/pipe" + why}};
  for (const auto& row : rows) EXPECT_EQ(writeLogin(row.who), Messages{row.message}) << row.who;
  EXPECT_EQ(contentOf("/etc/virtual/victim"), "untouched");
  EXPECT_FALSE(fs::exists("/etc/virtual/elsewhere"));

  last_login.empty();
  for (const auto& row : rows) log_last_login(row.who, "192.0.2.7", 1);
  log_last_login("zoe@last", "192.0.2.7", 1);
  write_last_logins();
  EXPECT_EQ(newActivity().size(), std::size(rows));
  EXPECT_EQ(contentOf("/etc/virtual/last/last_login/zoe"), "when=1&ip=192.0.2.7");

  EXPECT_EQ(writeLogin("bob@"), Messages{}) << "an empty domain lies in /etc/virtual itself";
  EXPECT_TRUE(fs::exists("/etc/virtual/last_login/bob"));
}

TEST_F(Records, NamesThatWouldLeaveTheirFolderAreRefused) {
  fs::create_directories("/etc/virtual/dom1/last_login");
  fs::create_directories("/usr/local/corvane/data/users/alice");
  const std::string why = "': as a path it would leave its folder";
  for (const auto& [who, shown] : {std::pair{"../../../etc/passwd", "../../../etc/passwd"},
                                   {"alice/x", "alice/x"},
                                   {".", "."},
                                   {"..", ".."},
                                   {"..@dom1", "..@dom1"},
                                   {".@dom1", ".@dom1"},
                                   {"x/y@dom1", "x/y@dom1"},
                                   {"bob@..", "bob@.."},
                                   {"bob@.", "bob@."},
                                   {"bob@dom1/../dom1", "bob@dom1/../dom1"},
                                   {"/\n\x1b[2J'\\\xff", "/\\x0a\\x1b[2J\\x27\\x5c\\xff"}}) {
    EXPECT_EQ(writeLogin(who), Messages{"write_last_logins: refused '" + std::string(shown) + why});
    log_dovecot_bandwidth(("imap(" + std::string(who) + "): Logged out in=1 out=2").c_str(), 5);
    EXPECT_EQ(newActivity(),
              Messages{"log_dovecot_bandwidth: refused '" + std::string(shown) + why});
  }
  EXPECT_EQ(filesWritten(), "");
  for (const char* who : {"...@dom1", "..x@dom1", "a..b@dom1"})
    EXPECT_EQ(writeLogin(who), Messages{}) << who;
}

TEST_F(Records, SessionsAreAppendedAndTheirNamesLimited) {
  fs::create_directories("/etc/virtual/dom1");
  const std::string longest = std::string(251, 'n') + "@dom1";
  for (const std::string& name : {longest, "n" + longest, std::string("bob@dom1")})
    log_dovecot_bandwidth(("imap(" + name + "): Logged out in=1 out=2").c_str(), 1700000000);
  log_dovecot_bandwidth("imap", 1700000000);
  const std::string record = "3=type=imap&inbound=1&outbound=2&email=";
  EXPECT_EQ(
      contentOf("/etc/virtual/dom1/dovecot.bytes"),
      record + longest + "&log_time=1700000000\n" + record + "bob@dom1&log_time=1700000000\n");
}

TEST_F(Records, TrafficIsCountedForTwentyMinutesAndWithoutADateAsOfNow) {
  fs::create_directories("/usr/local/corvane/data/users/bob");
  const time_t now = midday(2026, 11, 21);
  FakeTime clock(now);
  for (const char* stamp :
       {"Nov 21 11:40:00", "Nov 21 11:39:59", "Nov 21 13:00:00", "Xxx 21 1:0:0"})
    parseLine((std::string(stamp) + " mail dovecot: imap(bob): Logged out in=1 out=1").c_str());
  std::string expected;
  for (const time_t when : {now - 1200, now + 3600, now})
    expected +=
        "2=type=imap&inbound=1&outbound=1&email=bob&log_time=" + std::to_string(when) + "\n";
  EXPECT_EQ(contentOf("/usr/local/corvane/data/users/bob/dovecot.bytes"), expected);
  EXPECT_EQ(newActivity(), Messages{"Unable to parse the date"});
}

TEST_F(Records, TrafficThatCannotBeWrittenIsReported) {
  fs::create_directories("/etc/virtual/folder/dovecot.bytes");
  fs::create_directories("/etc/virtual/linked");
  fs::create_symlink("/etc/virtual/elsewhere", "/etc/virtual/linked/dovecot.bytes");
  write("/etc/virtual/file", "a file");
  for (const auto& [domain, reason] : {std::pair{"folder", "Is a directory"},
                                       {"linked", "Too many levels of symbolic links"},
                                       {"file", "Not a directory"}}) {
    log_dovecot_bandwidth(("imap(bob@" + std::string(domain) + "): Logged out in=1 out=2").c_str(),
                          5);
    EXPECT_EQ(newActivity(), Messages{"Cannot open /etc/virtual/" + std::string(domain) +
                                      "/dovecot.bytes for logging dovecot bytes: " + reason});
  }
  EXPECT_EQ(filesWritten(), "/etc/virtual/file: a file\n");
}

TEST_F(Records, AFileSystemThatIsFullOrReadOnlyIsReported) {
  if (mount("tmpfs", "/etc/virtual", "tmpfs", 0, "nr_inodes=3") != 0)
    GTEST_SKIP() << "no file system can be mounted here";
  fs::create_directories("/etc/virtual/dom1");
  write("/etc/virtual/the-last-inode", "");
  EXPECT_EQ(writeLogin("bob@dom1"),
            Messages{"write_last_logins: unable to create /etc/virtual/dom1/last_login: No space "
                     "left on device"});
  log_dovecot_bandwidth("imap(bob@dom1): Logged out in=1 out=2", 5);
  EXPECT_EQ(newActivity(), Messages{"Cannot open /etc/virtual/dom1/dovecot.bytes for logging "
                                    "dovecot bytes: No space left on device"});
  mount("tmpfs", "/etc/virtual", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr);
  log_dovecot_bandwidth("imap(bob@dom1): Logged out in=1 out=2", 5);
  EXPECT_EQ(newActivity(), Messages{"Cannot open /etc/virtual/dom1/dovecot.bytes for logging "
                                    "dovecot bytes: Read-only file system"});
  umount("/etc/virtual");
}

TEST_F(Records, StandaloneModeSaysWhatIsRecorded) {
  fs::create_directories("/etc/virtual/dom1");
  fs::create_directories("/usr/local/corvane/data/users/bob");
  is_daemon = 0;
  testing::internal::CaptureStdout();
  log_dovecot_bandwidth("imap(bob): Logged out in=1 out=2 x", 5);
  log_dovecot_bandwidth("pop3(bob): Logged out x bytes=3/4 y", 5);
  log_dovecot_bandwidth("pop3(bob): Logged out retr=1/6", 5);
  log_dovecot_bandwidth("imap(bob): Connection closed", 5);
  writeLogin("bob");
  writeLogin("carol@dom1");
  is_daemon = 1;
  const std::string file = " to /usr/local/corvane/data/users/bob/dovecot.bytes\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "got in=1 and out=2 from  in=1 out=2 x\n"
            "Logged in=1 out=2 for user=bob with type=imap" +
                file +
                "got in=3 and out=4 from 3/4 y\n"
                "Logged in=3 out=4 for user=bob with type=pop" +
                file + "Logged in=0 out=6 for user=bob with type=pop" + file +
                "not a disconnect, skipping: Connection closed\n"
                "last_login: bob@(null) 'when=1700000000&ip=192.0.2.7'\n"
                "last_login: carol@dom1 'when=1700000000&ip=192.0.2.7'\n");
}
