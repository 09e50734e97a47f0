// Files, folders, owners and identities.
#include "support/system.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <set>

#include "support/config.h"
#include "support/text_helpers.h"
#include "test_files.h"

namespace fs = std::filesystem;

namespace {

const std::string kFolder = "/run/owners", kFile = kFolder + "/file", kLink = kFolder + "/link";
const std::string kMissing =
    "A component of the path file_name does not exist, or the path is an empty string.<br>\n";

class System : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(kFolder);
    fs::create_directories(kFolder + "/folder/below");
    fs::create_symlink("nowhere", kLink);
    write(kFile, "content");
    if (lchown(kFile.c_str(), 7, 8) != 0) GTEST_SKIP() << "nothing can be given away here";
  }

  static std::string ownerOf(const std::string& path) {
    struct stat status = {};
    lstat(path.c_str(), &status);
    return std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid);
  }

  static std::string data(const char* path, int cached, bool proc, Config* limits = nullptr) {
    return printable(OwnedText(getDataFromFile(nullptr, limits, path, cached, proc)).get());
  }
};

}  // namespace

TEST_F(System, APathThatDoesNotExistIsExplainedAndRemembered) {
  const std::pair<std::string, std::string> rows[] = {
      {kFile, ""},
      {"", "Path is empty or null<br>\n"},
      {kFile + "/x", "A component of the path is not a directory.<br>\n"},
      {std::string(5000, 'x'), "File name too long.<br>\n"},
      {kFolder + "/loop", "Too many symbolic links encountered while  traversing the path.<br>\n"},
      {kLink, kMissing}};
  fs::create_symlink("loop", kFolder + "/loop");
  for (const auto& [path, reason] : rows) {
    EXPECT_EQ(pathExists(path.c_str(), 0, true, true), reason.empty()) << path;
    EXPECT_EQ(system_res, reason) << path;
  }
  EXPECT_EQ(pathExists(kFile.c_str(), 1, true, false), 1);
  fs::remove(kFile);
  EXPECT_EQ(pathExists(kFile.c_str(), 1, true, false), 1) << "still there";
  const std::string later = kFolder + "/later";
  EXPECT_EQ(pathExists(later.c_str(), 1, true, false), 0);
  write(later, "");
  EXPECT_EQ(pathExists(later.c_str(), 1, true, false), 0) << "still missing";
}

TEST_F(System, FilesAreReadWholeWithinLimitsAndCachedByMode) {
  const char* const file = kFile.c_str();
  EXPECT_EQ(data("/run/absent", 0, false), "(null)");
  EXPECT_EQ(system_res, kMissing);
  Config limits{7};
  EXPECT_EQ(data(file, 1, false, &limits), "content") << "as large as allowed";
  write(kFile, "changed!");
  EXPECT_EQ(data(file, 0, false, &limits), "(null)") << "too large";
  EXPECT_EQ(data(file, 0, false), "changed!") << "uncached";
  EXPECT_EQ(data(file, 1, false), "content") << "cached";
  EXPECT_EQ(data(file, 3, false), "changed!") << "any other mode reads, and caches";
  const char* const kept = getDataFromFile(nullptr, nullptr, file, 2, false);
  EXPECT_EQ(kept, getDataFromFile(nullptr, nullptr, file, 2, false)) << "the cache's own";
  EXPECT_EQ(data("/proc/self/cmdline", 0, true).back(), '\n') << "the end of the last argument";
  EXPECT_EQ(data("/proc/self/cmdline", 0, false), "") << "a file of size 0";
  EXPECT_EQ(data("/dev/zero", 0, true).size(), 32760U) << "not more";
}

TEST_F(System, AFolderIsMadeWithItsModeAndOwnerOrTheReasonIsTold) {
  const std::string folder = kFolder + "/new", below = kFile + "/x";
  const mode_t before = umask(077);
  EXPECT_EQ(createDir(nullptr, folder.c_str(), nullptr, 02775, true), 1);
  umask(before);
  EXPECT_EQ(static_cast<unsigned>(fs::status(folder).permissions()), 02775U);
  EXPECT_EQ(createDir(nullptr, folder.c_str(), "daemon", 0700, true), 2) << "there before";
  EXPECT_EQ(ownerOf(folder), "1:1") << "yet given its owner";
  EXPECT_EQ(createDir(nullptr, below.c_str(), nullptr, 0700, false), 0);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(system_res, "mkdir(" + folder + ") error: File exists<br>\nmkdir(" + below +
                            ") error: Not a directory<br>\n");
  EXPECT_EQ(createDir(nullptr, nullptr, nullptr, 0700, true), 0);
  EXPECT_STREQ(system_res, "<b>the path was null or empty</b><br>\n");
}

TEST_F(System, AnEntryIsGivenAwayOnlyAsItMayBe) {
  struct Row {
    const char* name;
    int uid, gid, refuse_hard_links, required_uid, required_gid, result;
    const char* owner;
  };
  const Row rows[] = {{"folder", 7, 8, 1, 5, -1, 0, "0:0"}, {"folder", 7, 8, 1, -1, 5, 0, "0:0"},
                      {"folder", 7, -1, 1, 0, 0, 1, "7:0"}, {"folder", -1, 8, 1, 7, -1, 1, "7:8"},
                      {"folder", 7, 8, 1, 5, 5, 1, "7:8"},  {"link", 5, 6, 1, -1, -1, 1, "5:6"},
                      {"file", 5, 6, 1, -1, -1, 0, "7:8"},  {"file", 5, 6, 0, -1, -1, 1, "5:6"},
                      {"absent", 5, 6, 0, -1, -1, 0, "0:0"}};
  for (const bool secure : {false, true}) {
    if (secure) SetUp();
    fs::create_hard_link(kFile, kFolder + "/second");
    for (const Row& row : rows) {
      const std::string path = kFolder + "/" + row.name;
      EXPECT_EQ(setOwner(nullptr, path.c_str(), row.uid, row.gid, row.refuse_hard_links, secure,
                         row.required_uid, row.required_gid),
                row.result)
          << row.name << " to " << row.uid << ":" << row.gid << (secure ? ", secure" : "");
      EXPECT_EQ(ownerOf(path), row.owner) << row.name;
    }
    EXPECT_EQ(setOwner(nullptr, "", 5, 6, 0, secure, -1, -1), 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(kFolder), {}), 4) << "no stray file";
  }
}

TEST_F(System, ARandomTextHasEveryCharacterThatItMay) {
  for (const bool special : {false, true}) {
    std::set<char> want;
    for (char c = '!'; c <= '~'; ++c)
      if (special ? c != '/' && c != '\\' : isalnum(c)) want.insert(c);
    const OwnedText random(getRandString(5000, special));
    const std::string found(random.get());
    EXPECT_EQ(found.size(), 5000U);
    EXPECT_EQ(std::set<char>(found.begin(), found.end()), want);
  }
}

TEST_F(System, NamesStandForIdsAndIdentities) {
  const char* const file = kFile.c_str();
  EXPECT_EQ(isOwner(nullptr, file, 7, 8), 1);
  EXPECT_EQ(isOwner(nullptr, file, 7, 9), 0);
  EXPECT_EQ(isOwner(nullptr, file, 6, -1U), 0);
  for (const char* path : {"", "/run/absent"}) EXPECT_EQ(isOwner(nullptr, path, 7, 8), 0) << path;
  EXPECT_EQ(isOwner(nullptr, file, -1U, -1U), 0) << "nothing is asked for";
  EXPECT_EQ(setOwner(nullptr, file, "root", "mail", 1, false, "nosuch", nullptr), 0);
  EXPECT_EQ(setOwner(nullptr, file, "nosuch", "mail", 1, false, nullptr, "mail"), 1);
  EXPECT_EQ(ownerOf(kFile), "9999:8") << "unknown names are applied as 9999";
  EXPECT_EQ(setOwner(nullptr, file, "nosuch", 1, false), 0);
  EXPECT_EQ(setOwner(nullptr, file, "sync", 1, false), 1);
  EXPECT_EQ(ownerOf(kFile), "4:65534") << "of the user's primary group";
  EXPECT_EQ(getUID("root"), 0);
  EXPECT_EQ(getGID("root", 1), 0);
  for (const char* name : {"", "nosuch", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(getUID(name), 9999) << printable(name);
    EXPECT_EQ(getGID(name, 0), 9999) << printable(name);
  }
  EXPECT_EQ(setUserPriv(nullptr, "sync", 0), 1);
  EXPECT_EQ(geteuid(), 4U);
  EXPECT_EQ(getegid(), 65534U);
  testing::internal::CaptureStdout();
  EXPECT_EQ(setUserPriv(nullptr, "nosuch", 1), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Sys:setUserPriv(nosuch):uid==9999\n\n");
  EXPECT_EQ(geteuid(), 0U) << "an unknown user is root";
  EXPECT_EQ(getegid(), 0U);
}
