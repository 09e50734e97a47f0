// Files as the library reads them.
#include "support/system.h"
#include "support/config.h"
#include "support/text_helpers.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "test_files.h"

namespace {

TEST(PathExists, TellsWhyNotAndRepeatsCachedAnswers) {
  const std::string
      end = "<br>\n",
      missing =
          "A component of the path file_name does not exist, or the path is an empty string." + end;
  write("/run/file", "");
  EXPECT_EQ(symlink("/run/absent", "/run/dangling") | symlink("loop", "/run/loop"), 0);
  const std::pair<const char*, std::string> rows[] = {
      {"/run/file", ""},
      {"/run/dangling", missing},
      {"", "Path is empty or null" + end},
      {"/run/file/x", "A component of the path is not a directory." + end},
      {"/run/loop", "Too many symbolic links encountered while  traversing the path." + end}};
  for (const auto& [path, reason] : rows) {
    EXPECT_EQ(pathExists(path, 0, true, true), reason.empty()) << printable(path);
    EXPECT_EQ(system_res, reason) << printable(path);
  }
  EXPECT_EQ(pathExists(std::string(5000, 'x').c_str(), 0, true, true), 0);
  EXPECT_EQ(pathExists("/run/comes", 1, false, true), 0);
  EXPECT_EQ(system_res, "File name too long.<br>\n" + missing) << "kept and appended to";
  EXPECT_EQ(pathExists("/run/file", 1, true, true), 1);
  EXPECT_EQ(rename("/run/file", "/run/comes"), 0);
  EXPECT_EQ(pathExists("/run/comes", 1, true, true), 0) << "still missing";
  EXPECT_STREQ(system_res, "");
  EXPECT_EQ(pathExists("/run/file", 1, true, true), 1) << "still there";
}

TEST(GetDataFromFile, ReadsWholeFilesWithinLimitsAndCachesByMode) {
  const auto data = [](const char* path, int mode = 0, bool proc = false, Config* l = nullptr) {
    return std::string(printable(OwnedText(getDataFromFile(nullptr, l, path, mode, proc)).get()));
  };
  write("/run/data", "");
  EXPECT_EQ(data("/run/data") + data("/run"), "") << "an empty file, a directory";
  EXPECT_EQ(data("") + data(nullptr) + data("/run/nowhere"), "(null)(null)(null)");
  write("/run/data", "1st");
  Config limits{3};
  EXPECT_EQ(data("/run/data", 1, false, &limits), "1st") << "as large as allowed";
  limits.max_read_to_memory_size = 2;
  write("/run/data", "2nd");
  testing::internal::CaptureStdout();
  EXPECT_EQ(data("/run/data", 0, false, &limits), "(null)");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "getDataFromFile(conf, '/run/data', save_in_cache=0): file size (3) > "
            "max_read_to_memory_size (2)\n");
  EXPECT_EQ(data("/run/data") + data("/run/data", 1), "2nd1st") << "uncached, cached";
  char* kept = getDataFromFile(nullptr, nullptr, "/run/data", 2, false);
  EXPECT_EQ(kept, getDataFromFile(nullptr, nullptr, "/run/data", 2, false)) << "the cache's own";
  EXPECT_EQ(data("/run/data", 3), "2nd") << "any other mode reads";
  EXPECT_EQ(data("/run/data", 1), "2nd") << "and caches";
  EXPECT_EQ(data("/proc/self/cmdline", 0, true).back(), '\n') << "the end of the last argument";
  EXPECT_EQ(data("/proc/self/cmdline"), "") << "a file of size 0";
}

}  // namespace
