// Folders, owners, identities and random names, with every message that they can give.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "support/logging.h"
#include "support/owned_text.h"
#include "support/system.h"
#include "test_files.h"

namespace fs = std::filesystem;

namespace {

const std::string kFolder = "/run/owners", kFile = kFolder + "/file";
constexpr unsigned kAny = static_cast<unsigned>(-1);

class Owners : public testing::Test {
 protected:
  Owners() { fs::remove_all(kFolder), fs::create_directory(kFolder), write(kFile, "content"); }

  void SetUp() override {
    if (lchown(kFile.c_str(), 7, 8) != 0 || lchown(kFile.c_str(), 0, 0) != 0)
      GTEST_SKIP() << "nothing can be given away here";
  }

  // What `call` prints through a Logging of this level.
  static std::string printed(int level, const std::function<void(Logging*)>& call) {
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

  static long entries() { return std::distance(fs::directory_iterator(kFolder), {}); }
};

}  // namespace

TEST_F(Owners, AFolderIsMadeWithItsModeOrTheReasonIsTold) {
  const std::string folder = kFolder + "/new", below = kFile + "/x";
  for (const mode_t mask : {077U, 0U}) {
    fs::remove(folder);
    const mode_t before = umask(mask);
    EXPECT_EQ(createDir(nullptr, folder.c_str(), nullptr, 02775, true), 1);
    umask(before);
    EXPECT_EQ(static_cast<unsigned>(fs::status(folder).permissions()), 02775u) << system_res;
  }
  EXPECT_EQ(createDir(nullptr, folder.c_str(), "daemon", 0700, true), 2) << "there before";
  EXPECT_EQ(ownerOf(folder), "1:1") << "yet given its owner";
  EXPECT_EQ(createDir(nullptr, below.c_str(), nullptr, 0700, false), 0);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(system_res, "mkdir(" + folder + ") error: File exists<br>\nmkdir(" + below +
                            ") error: Not a directory<br>\n");
  for (const char* path : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(createDir(nullptr, path, nullptr, 0700, true), 0);
    EXPECT_STREQ(system_res, "<b>the path was null or empty</b><br>\n");
  }
}

TEST_F(Owners, AnEntryIsGivenAwayOnlyAsItMayBe) {
  fs::create_symlink("nowhere", kFolder + "/link");
  fs::create_hard_link(kFile, kFolder + "/second");
  fs::create_directories(kFolder + "/folder/below");
  const struct {
    const char *name, *why;
    int uid, gid, refuse_hard_links, required_uid, required_gid, result;
    const char* owner;
  } rows[] = {{"folder", "nothing to do", -1, -1, 1, 5, 5, 1, "0:0"},
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
      ASSERT_EQ(lchown((kFolder + "/" + name).c_str(), 0, 0), 0);
    const long before = entries();
    for (const auto& [name, why, uid, gid, links, of_uid, of_gid, want, owner] : rows) {
      const std::string path = kFolder + "/" + name;
      EXPECT_EQ(setOwner(nullptr, path.c_str(), uid, gid, links, secure, of_uid, of_gid), want)
          << why;
      EXPECT_EQ(ownerOf(path), owner) << why << ", secure " << secure;
    }
    EXPECT_EQ(entries(), before) << "no stray file";
  }
}

TEST_F(Owners, NamesStandForIds) {
  const char* const file = kFile.c_str();
  EXPECT_EQ(
      setOwner(nullptr, file, "nosuch", 1, false) + setOwner(nullptr, file, nullptr, 1, false), 0);
  EXPECT_EQ(ownerOf(kFile), "0:0");
  EXPECT_TRUE(setOwner(nullptr, file, "daemon", 1, false) == 1 && ownerOf(kFile) == "1:1");
  EXPECT_EQ(setOwner(nullptr, file, "root", "mail", 1, false, "nosuch", nullptr), 0);
  EXPECT_EQ(setOwner(nullptr, file, "root", "nosuch", 1, false, "daemon", "daemon"), 1);
  EXPECT_EQ(ownerOf(kFile), "0:9999") << "unknown names are applied as 9999";
  EXPECT_TRUE(getUID("daemon") == 1 && getGID("daemon", 0) == 1 && getGID("mail", 1) == 8);
  for (const char* name : {"", "nosuch", static_cast<const char*>(nullptr)})
    EXPECT_TRUE(getUID(name) == 9999 && getGID(name, 0) == 9999 && getGID(name, 1) == 9999);
}

TEST_F(Owners, EachRefusalHasItsMessage) {
  const char* const file = kFile.c_str();
  const auto give = [](int level, const char* path, int links, int required) {
    return printed(level, [=](Logging* l) { setOwner(l, path, 7, 8, links, false, required, -1); });
  };
  EXPECT_EQ(give(9, nullptr, 0, -1) + give(10, "", 0, -1),
            "setOwner: blank path to try and set uid=7 gid=8\n");
  EXPECT_EQ(give(10, "/run/absent", 0, -1),
            "setOwner:/run/absent:to uid=7 gid=8: lstat error: No such file or directory\n");
  EXPECT_EQ(give(229, file, 0, 5) + give(2499, file, 0, 5),
            "setOwner: /run/owners/file to 7:8\nsetOwner(/run/owners/file): owner of file is not "
            "uid=5 or gid=-1, so will not chown.\n");
  fs::create_hard_link(file, kFile + "2");
  const std::string hard =
      "HardLink found on /run/owners/file (2 links).  Was attempting to be reset to owner UID(7) "
      "GID(8)\n";
  EXPECT_EQ(give(9, file, 1, -1), hard + hard) << "security log and error log";
  EXPECT_EQ(give(10, file, 1, -1), hard + hard + hard) << "and as a trace";
  EXPECT_EQ(give(230, file, 0, -1), "");
  EXPECT_EQ(give(2500, file, 0, -1),
            "setOwner:/run/owners/file: to uid=7 gid=8: file already had correct ownership. Not "
            "touching it.\n");
  const auto asked = [&](Logging* log) {
    EXPECT_EQ(isOwner(log, "", 7, 8) + isOwner(log, file, 7, 9) + isOwner(log, file, 6, 8), 0);
    EXPECT_EQ(isOwner(log, file, 7, kAny) * isOwner(log, file, kAny, 8), 1);
    EXPECT_EQ(isOwner(log, file, kAny, kAny) + isOwner(log, "/run/absent", 7, kAny), 0);
  };
  EXPECT_EQ(printed(1000, asked),
            "isOwner(/run/owners/file, user=-1, group=-1): both uid and gid checks are "
            "-1.\nisOwner(/run/absent, "
            "user=7, group=-1): stat error: No such file or directory (euid=0)\n");
}

TEST_F(Owners, TheSecureWayPutsBackWhatItMayNotChange) {
  const std::string link = kFolder + "/link";
  fs::create_symlink(kFile, link);
  ASSERT_EQ(chown(kFile.c_str(), 5, 5), 0);
  // The link is root's, what it leads to isn't: seen when the owner is looked at again.
  const std::string said = printed(
      229, [&](Logging* log) { EXPECT_EQ(setOwner(log, link.c_str(), 7, 8, 0, true, 0, -1), 0); });
  EXPECT_TRUE(ownerOf(link) == "0:0" && entries() == 2) << "moved back";
  const std::string end =
      ": owner of file is not uid=0 or gid=-1 AFTER the rename, so will not chown.\n";
  const std::string first = "setOwner: " + link + " to 7:8\nsetOwner: ";
  const std::string aside = said.substr(std::min(first.size(), said.size()), link.size() + 9);
  EXPECT_TRUE(aside.starts_with(link + "."));
  const std::string refused = "setOwner(" + aside + ")" + end;
  EXPECT_EQ(said, first + aside + end + refused + refused);
}

TEST_F(Owners, WhoIsNotRootIsToldSo) {
  ASSERT_EQ(seteuid(65534), 0);
  const std::string said = printed(229, [&](Logging* log) {
    EXPECT_EQ(setOwner(log, kFile.c_str(), 65534, -1, 1, false, -1, -1), 0);
    EXPECT_EQ(setOwner(log, kFile.c_str(), 65534, -1, 1, true, -1, -1), 0);
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
  const auto unknown = [](const char* name, int report) {
    return [=](Logging* log) { EXPECT_EQ(setUserPriv(log, name, report), 0); };
  };
  const std::string said = "Sys:setUserPriv(nosuch):uid==9999\n\n";
  EXPECT_EQ(printed(499, unknown("nosuch", 0)) + printed(499, unknown("nosuch", 1)), said);
  EXPECT_EQ(printed(500, unknown("nosuch", 1)),
            "Sys:setUserPriv(corvadmin):uid==9999\n\n" + said + said)
      << "errorLog's own attempt first";
  EXPECT_EQ(printed(500, unknown(nullptr, 0)), "Sys:setUserPriv((null)):uid==9999\n\n");
  EXPECT_EQ(geteuid() + getegid(), 0u);
  ASSERT_TRUE(setUserPriv(nullptr, "daemon", 0) == 1 && geteuid() == 1 && getegid() == 1);
  EXPECT_EQ(setUserPriv(nullptr, "nosuch", 0), 0);
  EXPECT_TRUE(geteuid() == 1 && getegid() == 1) << "the one it found";
  EXPECT_TRUE(setRootPriv() == 1 && geteuid() == 0 && getegid() == 0);
}

TEST_F(Owners, RandomNamesKeepToTheirAlphabetsAndUseAllOfThem) {
  std::set<char> plain, special;
  for (int i = 0; i < 20000; ++i)
    plain.insert(getRandChar(false)), special.insert(getRandChar(true));
  EXPECT_EQ(std::string(plain.begin(), plain.end()),
            "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
  EXPECT_TRUE(special.size() == 92 && *special.begin() == '!' && *special.rbegin() == '~');
  EXPECT_TRUE(!special.count('/') && !special.count('\\'));
  const OwnedText eight(getRandString(8, false)), none(getRandString(-1, true));
  EXPECT_EQ(strlen(eight.get()) + strlen(none.get()), 8u);
  const std::string name = OwnedText(get_random_temp_file(nullptr, kFile.c_str())).get();
  EXPECT_TRUE(name.starts_with(kFile + ".") && name.size() == kFile.size() + 9) << name;
}
