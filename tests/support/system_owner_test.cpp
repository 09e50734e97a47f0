// Folders, owners, identities and random names, with every message that they can give.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "support/cv_string.h"
#include "support/logging.h"
#include "support/owned_text.h"
#include "support/system.h"
#include "test_files.h"

namespace fs = std::filesystem;

namespace {

constexpr char kFolder[] = "/run/owners";
const std::string kFile = std::string(kFolder) + "/file";

class Owners : public testing::Test {
 protected:
  Owners() {
    fs::remove_all(kFolder);
    fs::create_directory(kFolder);
    write(kFile, "content");
  }

  // What `call` prints through a Logging of this level.
  template <typename Call>
  static std::string printed(int level, Call call) {
    Logging log;
    log.debug_level = level;
    testing::internal::CaptureStdout();
    call(&log);
    return testing::internal::GetCapturedStdout();
  }

  static std::string ownerOf(const std::string& path) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) return "none";
    return std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid);
  }

  static size_t entries() {
    return static_cast<size_t>(std::distance(fs::directory_iterator(kFolder), {}));
  }
};

}  // namespace

TEST_F(Owners, AFolderIsMadeWithItsModeOrTheReasonIsTold) {
  const std::string folder = std::string(kFolder) + "/new";
  for (const mode_t mask : {077U, 0U}) {
    fs::remove(folder);
    const mode_t before = umask(mask);
    EXPECT_EQ(createDir(nullptr, folder.c_str(), nullptr, 02775, true), 1);
    umask(before);
    EXPECT_EQ(static_cast<unsigned>(fs::status(folder).permissions()), 02775u);
    EXPECT_STREQ(system_res, "");
  }
  EXPECT_EQ(createDir(nullptr, folder.c_str(), "daemon", 0700, true), 2) << "there before";
  EXPECT_EQ(ownerOf(folder),
            std::to_string(getUID("daemon")) + ":" + std::to_string(getGID("daemon", 0)))
      << "yet given its owner";
  const std::string exists = "mkdir(" + folder + ") error: File exists<br>\n";
  EXPECT_EQ(system_res, exists);

  EXPECT_EQ(createDir(nullptr, (kFile + "/x").c_str(), nullptr, 0700, false), 0);
  EXPECT_EQ(errno, ENOTDIR);
  const std::string reasons = exists + "mkdir(" + kFile + "/x) error: Not a directory<br>\n";
  EXPECT_EQ(system_res, reasons);
  for (const char* path : {"", static_cast<const char*>(nullptr)})
    EXPECT_EQ(createDir(nullptr, path, nullptr, 0700, true), 0);
  EXPECT_STREQ(system_res, "<b>the path was null or empty</b><br>\n");
}

TEST_F(Owners, AnEntryIsGivenAwayOnlyAsItMayBe) {
  struct Row {
    const char *name, *why;
    int uid, gid, refuse_hard_links, required_uid, required_gid, result;
    const char* owner;
  };
  fs::create_symlink("nowhere", std::string(kFolder) + "/link");
  fs::create_hard_link(kFile, std::string(kFolder) + "/second");
  fs::create_directories(std::string(kFolder) + "/folder/below");
  const Row rows[] = {
      {"folder", "nothing to do", -1, -1, 1, 5, 5, 1, "0:0"},
      {"folder", "as it is", 0, 0, 1, 5, 5, 1, "0:0"},
      {"folder", "another required owner", 7, 8, 1, 5, -1, 0, "0:0"},
      {"folder", "another required group", 7, 8, 1, 0, 5, 0, "0:0"},
      {"folder", "a folder has links by nature", 7, -1, 1, 0, 0, 1, "7:0"},
      {"folder", "the group alone", -1, 8, 1, -1, -1, 1, "7:8"},
      {"link", "the link itself, also where it leads nowhere", 7, 8, 1, -1, -1, 1, "7:8"},
      {"file", "several links", 7, 8, 1, -1, -1, 0, "0:0"},
      {"file", "several links, never mind", 7, 8, 0, -1, -1, 1, "7:8"},
      {"absent", "not there", 7, 8, 0, -1, -1, 0, "none"}};
  for (const bool secure : {false, true}) {
    for (const char* name : {"folder", "link", "file"})
      ASSERT_EQ(lchown((std::string(kFolder) + "/" + name).c_str(), 0, 0), 0);
    const size_t before = entries();
    for (const Row& row : rows) {
      const std::string path = std::string(kFolder) + "/" + row.name;
      // Behind the rename a link is followed to see its owner: that is how it has always been.
      testing::internal::CaptureStdout();
      EXPECT_EQ(setOwner(nullptr, path.c_str(), row.uid, row.gid, row.refuse_hard_links, secure,
                         row.required_uid, row.required_gid),
                row.result)
          << row.why << ", secure " << secure;
      testing::internal::GetCapturedStdout();
      EXPECT_EQ(ownerOf(path), row.owner) << row.why << ", secure " << secure;
    }
    EXPECT_EQ(entries(), before) << "no stray file";
  }
}

TEST_F(Owners, NamesStandForIds) {
  const std::string daemon = std::to_string(getUID("daemon"));
  EXPECT_EQ(setOwner(nullptr, kFile.c_str(), "nosuch", 1, false), 0);
  EXPECT_EQ(setOwner(nullptr, kFile.c_str(), nullptr, 1, false), 0);
  EXPECT_EQ(ownerOf(kFile), "0:0");
  EXPECT_EQ(setOwner(nullptr, kFile.c_str(), "daemon", 1, false), 1);
  EXPECT_EQ(ownerOf(kFile), daemon + ":" + std::to_string(getGID("daemon", 0)));
  EXPECT_EQ(setOwner(nullptr, kFile.c_str(), "root", "mail", 1, false, "nosuch", nullptr), 0);
  EXPECT_EQ(setOwner(nullptr, kFile.c_str(), "root", "nosuch", 1, false, "daemon", "daemon"), 1);
  EXPECT_EQ(ownerOf(kFile), "0:9999") << "unknown names are applied as 9999";
  EXPECT_EQ(getUID("root") + getGID("root", 0) + getGID("root", 1), 0);
  for (const char* name : {"", "nosuch", static_cast<const char*>(nullptr)})
    EXPECT_EQ(getUID(name) + getGID(name, 0) + getGID(name, 1), 3 * 9999);
}

TEST_F(Owners, EachRefusalHasItsMessage) {
  const char* const file = kFile.c_str();
  const auto give = [](const char* path, int links, int required) {
    return [=](Logging* log) { setOwner(log, path, 7, 8, links, false, required, -1); };
  };
  EXPECT_EQ(printed(10, give("", 0, -1)), "setOwner: blank path to try and set uid=7 gid=8\n");
  EXPECT_EQ(printed(9, give(nullptr, 0, -1)), "");
  EXPECT_EQ(printed(10, give("/run/absent", 0, -1)),
            "setOwner:/run/absent:to uid=7 gid=8: lstat error: No such file or directory\n");
  EXPECT_EQ(printed(229, give(file, 0, 5)),
            "setOwner: " + kFile + " to 7:8\nsetOwner(" + kFile +
                "): owner of file is not uid=5 or gid=-1, so will not chown.\n");
  EXPECT_EQ(printed(2499, give(file, 0, 5)), "");
  fs::create_hard_link(file, kFile + "2");
  const std::string hard = "HardLink found on " + kFile +
                           " (2 links).  Was attempting to be reset to owner UID(7) GID(8)\n";
  EXPECT_EQ(printed(0, give(file, 1, -1)), hard + hard) << "security log and error log";
  EXPECT_EQ(printed(10, give(file, 1, -1)), hard + hard + hard) << "and as a trace";
  EXPECT_EQ(printed(230, give(file, 0, -1)), "");
  EXPECT_EQ(printed(2500, give(file, 0, -1)),
            "setOwner:" + kFile +
                ": to uid=7 gid=8: file already had correct ownership. Not touching it.\n");
  EXPECT_EQ(printed(1000,
                    [&](Logging* log) {
                      EXPECT_EQ(isOwner(log, "", 7, 8), 0);
                      EXPECT_EQ(isOwner(log, file, 7, static_cast<unsigned>(-1)), 1);
                      EXPECT_EQ(isOwner(log, file, 7, 9), 0);
                      EXPECT_EQ(
                          isOwner(log, file, static_cast<unsigned>(-1), static_cast<unsigned>(-1)),
                          0);
                      EXPECT_EQ(isOwner(log, "/run/absent", 7, static_cast<unsigned>(-1)), 0);
                    }),
            "isOwner(" + kFile +
                ", user=-1, group=-1): both uid and gid checks are -1.\n"
                "isOwner(/run/absent, user=7, group=-1): stat error: No such file or directory "
                "(euid=0)\n");
}

TEST_F(Owners, TheSecureWayPutsBackWhatItMayNotChange) {
  const std::string link = std::string(kFolder) + "/link";
  fs::create_symlink(kFile, link);
  ASSERT_EQ(chown(kFile.c_str(), 5, 5), 0);
  // The link is root's, what it leads to isn't: seen when the owner is looked at again.
  const std::string said = printed(
      229, [&](Logging* log) { EXPECT_EQ(setOwner(log, link.c_str(), 7, 8, 0, true, 0, -1), 0); });
  EXPECT_EQ(ownerOf(link), "0:0");
  EXPECT_EQ(entries(), 2u) << "moved back";
  const std::string end =
      ": owner of file is not uid=0 or gid=-1 AFTER the rename, so will not chown.\n";
  const std::string first = "setOwner: " + link + " to 7:8\nsetOwner: " + link + ".";
  ASSERT_EQ(said.substr(0, first.size()), first);
  const std::string aside = link + "." + said.substr(first.size(), 8);
  const std::string refused = "setOwner(" + aside + ")" + end;
  EXPECT_EQ(said, "setOwner: " + link + " to 7:8\nsetOwner: " + aside + end + refused + refused);
}

TEST_F(Owners, WhoIsNotRootIsToldSo) {
  ASSERT_EQ(seteuid(65534), 0);
  const std::string said = printed(229, [&](Logging* log) {
    EXPECT_EQ(setOwner(log, kFile.c_str(), 65534, -1, 1, false, -1, -1), 0);
    EXPECT_EQ(setOwner(log, kFile.c_str(), 65534, -1, 1, true, -1, -1), 0);
    EXPECT_EQ(createDir(log, (kFile + "x").c_str(), nullptr, 0700, true), 0);
    EXPECT_EQ(errno, EACCES);
  });
  EXPECT_EQ(geteuid(), 65534u) << "an error message leaves the identity as it was";
  ASSERT_EQ(seteuid(0), 0);
  const std::string to = "setOwner: " + kFile + " to 65534:-1\n";
  const std::string first =
      to + "setOwner: " + kFile + ": lchown1 error: Operation not permitted\n" + to +
      "setOwner(secure_chown): error renaming " + kFile + " to " + kFile + ".";
  EXPECT_EQ(said.substr(0, first.size()), first);
  EXPECT_EQ(said.substr(first.size() + 8, 20), ": Permission denied\n");
}

TEST_F(Owners, IdentitiesAreTakenWholeOrNotAtAll) {
  EXPECT_EQ(printed(500,
                    [](Logging* log) {
                      EXPECT_EQ(setUserPriv(log, "nosuch", 1), 0);
                      EXPECT_EQ(setUserPriv(log, nullptr, 0), 0);
                    }),
            "Sys:setUserPriv(corvadmin):uid==9999\n\n"  // errorLog's own attempt
            "Sys:setUserPriv(nosuch):uid==9999\n\nSys:setUserPriv(nosuch):uid==9999\n\n"
            "Sys:setUserPriv((null)):uid==9999\n\n");
  EXPECT_EQ(geteuid() + getegid(), 0u);
  ASSERT_EQ(setUserPriv(nullptr, "daemon", 0), 1);
  EXPECT_EQ(static_cast<int>(geteuid()), getUID("daemon"));
  EXPECT_EQ(static_cast<int>(getegid()), getGID("daemon", 0));
  EXPECT_EQ(setUserPriv(nullptr, "nosuch", 0), 0);
  EXPECT_EQ(static_cast<int>(geteuid()), getUID("daemon")) << "the one it found";
  EXPECT_EQ(static_cast<int>(getegid()), getGID("daemon", 0));
  EXPECT_EQ(setRootPriv(), 1);
  EXPECT_EQ(geteuid() + getegid(), 0u);
}

TEST_F(Owners, RandomNamesKeepToTheirAlphabetsAndUseAllOfThem) {
  std::set<char> plain, special;
  for (int i = 0; i < 20000; ++i)
    plain.insert(getRandChar(false)), special.insert(getRandChar(true));
  EXPECT_EQ(std::string(plain.begin(), plain.end()),
            "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
  std::string printable;
  for (char c = '!'; c <= '~'; ++c)
    if (c != '/' && c != '\\') printable += c;
  EXPECT_EQ(std::string(special.begin(), special.end()), printable);
  const OwnedText eight(getRandString(8, false)), none(getRandString(-1, true));
  EXPECT_EQ(strlen(eight.get()) + strlen(none.get()), 8u);
  const OwnedText name(get_random_temp_file(nullptr, kFile.c_str()));
  EXPECT_EQ(std::string(name.get()).substr(0, kFile.size() + 1), kFile + ".");
  EXPECT_EQ(strlen(name.get()), kFile.size() + 9);
}
