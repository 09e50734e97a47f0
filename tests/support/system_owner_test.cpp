// Folders, owners, identities and random names, with every message that they can give.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/logging.h"
#include "support/system.h"
#include "support/text_helpers.h"
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

// tests/support/owners.txt: a call, and under it what it prints.
TEST_F(Owners, AnEntryIsGivenAwayOnlyAsItMayBe) {
  const std::vector<std::string> text = linesOf(contentOf(OWNERS));
  const auto said_under = [&text](size_t row) {
    std::string said;
    while (++row < text.size() && text[row].starts_with("  ")) said += text[row].substr(2) + "\n";
    return said;
  };
  for (const bool secure : {false, true}) {
    fs::remove_all(kFolder);
    fs::create_directories(kFolder + "/folder/below");
    write(kFile, "content");
    fs::create_symlink("nowhere", kFolder + "/link");
    fs::create_hard_link(kFile, kFolder + "/second");
    const long before = entries();
    for (size_t row = 0; row < text.size(); ++row) {
      if (!isdigit(text[row][0])) continue;
      std::istringstream words(text[row]);
      int level, uid, gid, refuse_hard_links, required_uid, required_gid, result;
      std::string name, owner;
      words >> level >> name >> uid >> gid >> refuse_hard_links >> required_uid >> required_gid;
      words >> result >> owner;
      const std::string path = name == "-" ? "" : kFolder + "/" + name;
      const auto call = [&](Logging* log) {
        EXPECT_EQ(setOwner(log, path.c_str(), uid, gid, refuse_hard_links, secure, required_uid,
                           required_gid),
                  result)
            << text[row];
      };
      EXPECT_EQ(printed(level, call), said_under(row)) << text[row];
      EXPECT_EQ(ownerOf(path), owner) << text[row];
    }
    EXPECT_EQ(entries(), before) << "no stray file";
  }
}

TEST_F(Owners, AnOwnerIsTheOneAskedFor) {
  const char* const file = kFile.c_str();
  ASSERT_EQ(chown(file, 7, 8), 0);
  const auto asked = [&](Logging* log) {
    EXPECT_EQ(isOwner(log, "", 7, 8) + isOwner(log, file, 7, 9) + isOwner(log, file, 6, 8), 0);
    EXPECT_EQ(isOwner(log, file, 7, kAny) * isOwner(log, file, kAny, 8), 1);
    EXPECT_EQ(isOwner(log, file, kAny, kAny) + isOwner(log, "/run/no", 7, kAny), 0);
  };
  EXPECT_EQ(printed(1000, asked),
            "isOwner(/run/owners/file, user=-1, group=-1): both uid and gid checks are -1.\n"
            "isOwner(/run/no, user=7, group=-1): stat error: No such file or directory (euid=0)\n");
}

TEST_F(Owners, NamesStandForIds) {
  const char* const file = kFile.c_str();
  const auto given = [&](const char* user, const char* group, const char* required) {
    const int done = setOwner(nullptr, file, user, group, 1, false, required, nullptr);
    return ownerOf(kFile) + (done == 1 ? "" : " refused");
  };
  EXPECT_EQ(given("root", "mail", "nosuch"), "0:0 refused");
  EXPECT_EQ(given("root", "nosuch", "root"), "0:9999") << "unknown names are applied as 9999";
  EXPECT_EQ(setOwner(nullptr, file, "nosuch", 1, false), 0);
  EXPECT_EQ(setOwner(nullptr, file, "daemon", 1, false), 1);
  EXPECT_EQ(ownerOf(kFile), "1:1");
  EXPECT_TRUE(getUID("daemon") == 1 && getGID("daemon", 0) == 1 && getGID("mail", 1) == 8);
  for (const char* name : {"", "nosuch", static_cast<const char*>(nullptr)})
    EXPECT_TRUE(getUID(name) == 9999 && getGID(name, 0) == 9999 && getGID(name, 1) == 9999);
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
      "): owner of file is not uid=0 or gid=-1 AFTER the rename, so will not chown.\n";
  EXPECT_TRUE(said.starts_with("setOwner: " + link + " to 7:8\nsetOwner: " + link + ".")) << said;
  EXPECT_TRUE(said.ends_with(end) && said.find(end) < said.size() - end.size()) << said;
}

TEST_F(Owners, WhoIsNotRootIsToldSo) {
  const std::string own = kFolder + "/own", unreadable = own + "/unreadable";
  fs::create_directory(own);
  ASSERT_EQ(chown(own.c_str(), 65534, 65534), 0);
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(createDir(nullptr, unreadable.c_str(), nullptr, 0333, true), 1);
  EXPECT_EQ(static_cast<unsigned>(fs::status(unreadable).permissions()), 0333u);
  const std::string said = printed(229, [&](Logging* log) {
    EXPECT_EQ(setOwner(log, kFile.c_str(), 65534, -1, 1, false, -1, -1), 0);
    EXPECT_EQ(setOwner(log, kFile.c_str(), 65534, -1, 1, true, -1, -1), 0);
  });
  EXPECT_EQ(geteuid(), 65534u) << "an error message leaves the identity as it was";
  ASSERT_EQ(seteuid(0), 0);
  const std::string to = "setOwner: " + kFile + " to 65534:-1\n", denied = ": Permission denied\n";
  EXPECT_TRUE(said.starts_with(to + "setOwner: " + kFile + ": lchown1 error: Operation not " +
                               "permitted\n" + to + "setOwner(secure_chown): error renaming " +
                               kFile + " to " + kFile + "."))
      << said;
  EXPECT_TRUE(said.ends_with(denied));
}

TEST_F(Owners, AnIdentityIsAUserAndItsGroup) {
  const auto unknown = [](int level, int report) {
    return printed(level, [=](Logging* l) { EXPECT_EQ(setUserPriv(l, "nosuch", report), 0); });
  };
  const std::string said = "Sys:setUserPriv(nosuch):uid==9999\n\n";
  EXPECT_EQ(unknown(499, 0) + unknown(499, 1), said);
  EXPECT_EQ(unknown(500, 1), "Sys:setUserPriv(corvadmin):uid==9999\n\n" + said + said)
      << "errorLog's own attempt first";
  ASSERT_TRUE(setUserPriv(nullptr, "daemon", 0) == 1 && geteuid() == 1 && getegid() == 1);
  EXPECT_EQ(setUserPriv(nullptr, nullptr, 0), 0);
  EXPECT_TRUE(geteuid() == 0 && getegid() == 0) << "an unknown user is root";
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
