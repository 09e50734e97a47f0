// Lines, files and accounts as the library reads them.
#include "support/system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/config.h"
#include "support/logging.h"
#include "support/owned_text.h"
#include "test_files.h"

namespace {

FILE* streamOf(const std::string& bytes) {
  FILE* stream = tmpfile();
  fwrite(bytes.data(), 1, bytes.size(), stream);
  rewind(stream);
  return stream;
}

// All lines of `bytes`, each read into a buffer that was dirtied before. What lies behind a line
// must be zero.
std::vector<std::string> linesRead(const std::string& bytes, int& size, int max_length,
                                   bool remember) {
  const OwnedFile in(streamOf(bytes));
  std::vector<std::string> lines;
  char* buffer = newString(nullptr, size);
  memset(buffer, 'x', static_cast<size_t>(size));
  Logging log;
  int in_use = size;
  for (;;) {
    const int n = remember ? readLine(&log, in.get(), buffer, size, max_length, in_use)
                           : readLine(&log, in.get(), buffer, size, max_length);
    if (n == -1) break;
    lines.emplace_back(buffer, n);
    for (int i = n; i < size; ++i)
      EXPECT_EQ(buffer[i], 0) << "line " << lines.size() << " byte " << i;
    if (!remember) memset(buffer, 'x', static_cast<size_t>(size));
  }
  delString(buffer);
  return lines;
}

TEST(ReadLine, TheBufferGrowsWhenFewerThan32BytesAreLeft) {
  const struct {
    int size, length, max_length, want_size;
  } rows[] = {{256, 224, 0, 256},   {256, 225, 0, 512},   {256, 480, 0, 512}, {256, 481, 0, 1024},
              {256, 225, 225, 512}, {256, 250, 300, 512}, {10, 0, 0, 10},     {10, 1, 0, 20},
              {10, 2, 0, 40},       {10, 9, 0, 80},       {2, 1, 0, 4},       {2, 1, 9, 4}};
  for (const auto& row : rows) {
    const std::string line(static_cast<size_t>(row.length), 'c');
    int size = row.size;
    EXPECT_EQ(linesRead(line + "\n", size, row.max_length, false), std::vector{line});
    EXPECT_EQ(size, row.want_size) << row.length << " characters into " << row.size << " bytes";
  }
}

TEST(ReadLine, LinesAreDeliveredByteForByte) {
  using namespace std::string_literals;
  const struct {
    std::string bytes;
    std::vector<std::string> want;
    const char* why;
  } rows[] = {
      {"", {}, "empty"},
      {"\n\na\n", {"", "", "a"}, "empty lines"},
      {"a\nb", {"a", "b"}, "the last without a newline"},
      {"a\r\n\r\n", {"a\0"s, "\0"s}, "a CR before the newline is counted and removed"},
      {"a\rb\r", {"a\rb\r"}, "others stay"},
      {"a\r\r\n", {"a\r\0"s}, "only the last"},
      {"a\0b\0\n\0\n"s, {"a\0b\0"s, "\0"s}, "NUL bytes"},
      {std::string(300, '\0') + "z\n", {std::string(300, '\0') + "z"}, "NUL bytes survive growth"},
      {"\x80\xff\n", {"\x80\xff"}, "eight bits"}};
  for (const auto& row : rows)
    for (const int max_length : {0, 9999})
      for (const bool remember : {false, true}) {
        int size = 64;
        EXPECT_EQ(linesRead(row.bytes, size, max_length, remember), row.want)
            << row.why << ", limit " << max_length;
      }
}

TEST(ReadLine, APastTheLimitLineIsChoppedAndItsRestIsTheNext) {
  int size = 64;
  testing::internal::CaptureStdout();
  const auto lines =
      linesRead(std::string(33, 'a') + "rest\n" + std::string(33, 'b') + "\n", size, 32, false);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Line length (33) is greater than max line length (32). Chopping value.\n"
            "Line length (33) is greater than max line length (32). Chopping value.\n");
  EXPECT_EQ(lines,
            (std::vector<std::string>{std::string(33, 'a'), "rest", std::string(33, 'b'), ""}));
  EXPECT_EQ(size, 64);
}

TEST(ReadLine, ADirectoryAndABufferWithoutRoomGiveNoLine) {
  const OwnedFile directory(fopen("/run", "r")), text(streamOf("text"));
  char* buffer = newString(nullptr, 64);
  int size = 64, none = 1;
  for (const int max_length : {0, 9})
    EXPECT_EQ(readLine(nullptr, directory.get(), buffer, size, max_length), -1);
  EXPECT_EQ(readLine(nullptr, text.get(), buffer, none, 0), -1);
  delString(buffer);
}

TEST(ReadLine, AgreesWithSplittingTheSameRandomBytes) {
  std::mt19937 random(20240307);
  for (int round = 0; round < 60; ++round) {
    std::string bytes(random() % 3000, '\0');
    for (char& c : bytes) c = "ab\r\n\0\xff"[random() % (round % 2 ? 6 : 3)];
    for (size_t i = 0; i < bytes.size(); i += 1 + random() % 900) bytes[i] = '\n';
    std::vector<std::string> want;
    for (size_t from = 0, to; from < bytes.size(); from = to + 1) {
      to = std::min(bytes.find('\n', from), bytes.size());
      want.push_back(bytes.substr(from, to - from));
      if (to < bytes.size() && to > from && want.back().back() == '\r') want.back().back() = '\0';
    }
    int size = 1 << (1 + random() % 8);
    ASSERT_EQ(linesRead(bytes, size, round % 3 ? 0 : 1 << 20, round % 4 < 2), want)
        << "round " << round;
  }
}

TEST(PathExists, TellsWhyNotAndRepeatsCachedAnswers) {
  const std::string missing =
      "A component of the path file_name does not exist, or the path is an empty string.";
  write("/run/file", "");
  EXPECT_EQ(symlink("/run/absent", "/run/dangling") | symlink("loop", "/run/loop"), 0);
  const struct {
    const char* path;
    int want;
    std::string reason;
  } rows[] = {{"/run/file", 1, ""},
              {"/run", 1, ""},
              {"/run/absent", 0, missing},
              {"/run/dangling", 0, missing},
              {"", 0, "Path is empty or null"},
              {nullptr, 0, "Path is empty or null"},
              {"/run/file/x", 0, "A component of the path is not a directory."},
              {"/run/loop", 0, "Too many symbolic links encountered while  traversing the path."}};
  for (const auto& row : rows) {
    EXPECT_EQ(pathExists(row.path, 0, true, true), row.want) << printable(row.path);
    EXPECT_EQ(system_res, row.reason + (row.want ? "" : "<br>\n")) << printable(row.path);
  }
  EXPECT_EQ(pathExists(std::string(5000, 'x').c_str(), 0, true, true), 0);
  EXPECT_STREQ(system_res, "File name too long.<br>\n");
  EXPECT_EQ(pathExists("/run/comes", 1, false, true), 0);
  EXPECT_EQ(system_res, "File name too long.<br>\n" + missing + "<br>\n") << "kept and appended to";
  EXPECT_EQ(pathExists("/run/goes", 0, true, false), 0);
  EXPECT_STREQ(system_res, "") << "no reason asked for";
  EXPECT_EQ(pathExists("/run/file", 1, true, true), 1);
  EXPECT_EQ(rename("/run/file", "/run/comes"), 0);
  EXPECT_EQ(pathExists("/run/comes", 1, true, true), 0) << "still missing";
  EXPECT_STREQ(system_res, "");
  EXPECT_EQ(pathExists("/run/file", 1, true, true), 1) << "still there";
  EXPECT_EQ(pathExists("/run/comes", 0, true, true), 1);
}

TEST(GetDataFromFile, ReadsWholeFilesWithinLimitsAndCachesByMode) {
  const auto data = [](const char* path, int mode = 0, bool proc = false,
                       Config* limits = nullptr) {
    Logging log;
    const OwnedText text(getDataFromFile(&log, limits, path, mode, proc));
    return std::string(printable(text.get()));
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
  const std::string line = data("/proc/self/cmdline", 0, true);
  EXPECT_EQ(line.back(), '\n') << "the end of the last argument";
  EXPECT_EQ(data("/proc/self/cmdline"), "") << "a file of size 0";
}

TEST(Accounts, UnknownOnesAre9999AndOnlyKnownOnesAreAssumed) {
  EXPECT_TRUE(getUID("root") == 0 && getGID("root", 0) == 0 && getGID("root", 1) == 0);
  EXPECT_TRUE(getUID("daemon") == 1 && getGID("daemon", 0) == 1 && getGID("mail", 1) == 8);
  for (const char* name : {"no-such-name", "", static_cast<const char*>(nullptr)})
    EXPECT_TRUE(getUID(name) == 9999 && getGID(name, 0) == 9999 && getGID(name, 1) == 9999);
  Logging log;
  for (const int report : {1, 0}) {
    log.debug_level = report ? 499 : 500;
    testing::internal::CaptureStdout();
    EXPECT_EQ(setUserPriv(&log, "no-such-name", report), 0);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "Sys:setUserPriv(no-such-name):uid==9999\n\n") << report;
  }
  EXPECT_TRUE(geteuid() == 0 && getegid() == 0);
  if (chown("/run", 1, 1) != 0) GTEST_SKIP() << "no ids but our own";
  EXPECT_EQ(chown("/run", 0, 0), 0);
  EXPECT_EQ(setUserPriv(&log, "daemon", 1), 1);
  EXPECT_TRUE(geteuid() == 1 && getegid() == 1);
  EXPECT_EQ(setRootPriv(), 1);
  EXPECT_TRUE(geteuid() == 0 && getegid() == 0);
}

}  // namespace
