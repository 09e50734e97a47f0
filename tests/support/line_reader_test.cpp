#include "support/line_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/cv_string.h"
#include "support/owned_text.h"
#include "test_files.h"

namespace {

using Lines = std::vector<std::string>;

FILE* streamOf(const std::string& bytes) {
  write("/run/stream", bytes);
  return fopen("/run/stream", "r");
}

// All lines of `bytes`, read into a dirty buffer. What lies behind a line must be zero.
Lines linesRead(const std::string& bytes, int& size, int max_length) {
  const OwnedFile in(streamOf(bytes));
  Lines lines;
  char* buffer = newString(nullptr, size);
  for (;;) {
    memset(buffer, 'x', static_cast<size_t>(size));
    const int n = readLine(nullptr, in.get(), buffer, size, max_length);
    if (n == -1) break;
    lines.emplace_back(buffer, n);
    EXPECT_EQ(std::count(buffer + n, buffer + size, '\0'), size - n) << lines.size();
  }
  delString(buffer);
  return lines;
}

}  // namespace

TEST(ReadLine, APastTheLimitLineIsChoppedAndItsRestIsTheNext) {
  int size = 64;
  const std::string chopped(33, 'a'),
      said = "Line length (33) is greater than max line length (32). Chopping value.\n";
  testing::internal::CaptureStdout();
  EXPECT_EQ(linesRead(chopped + "rest\n" + chopped + "\n", size, 32),
            (Lines{chopped, "rest", chopped, ""}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), said + said);
}

// Lines that end around the end of a block, and longer ones.
TEST(LineReader, GivesTheLinesOfReadLineAndTheSameGrowth) {
  std::string bytes = "first\r\n\n";
  for (const unsigned length :
       {0U, 10U, 224U, 225U, 65000U, 300U, 65535U, 65536U, 65537U, 7U, 200000U, 1U}) {
    bytes += std::string(length, 'x') + "\n\xff" + std::string(3, '\0') + "\r\n";
    for (const char* end : {"\r\n", "unended"}) {
      int read_size = 256, size = 256;
      const Lines want = linesRead(bytes + end, read_size, 0);
      Lines got;
      const OwnedFile in(streamOf(bytes + end));
      char* buffer = newString(nullptr, size);
      LineReader reader(nullptr, in.get(), buffer, size);
      while (const char* line = reader.next()) got.emplace_back(line);
      ASSERT_EQ(got.size(), want.size());
      for (size_t i = 0; i < want.size(); ++i) EXPECT_EQ(got[i], want[i].c_str()) << i;
      EXPECT_EQ(size, read_size) << length;
      EXPECT_EQ(ftell(in.get()), static_cast<long>(bytes.size() + strlen(end)));
      delString(buffer);
    }
  }
}
