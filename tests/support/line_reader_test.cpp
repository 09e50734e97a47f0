// What is said of a line. Which lines there are, and how buffers grow, is a target in fuzz/.
#include "support/line_reader.h"
#include "support/cv_string.h"
#include "support/stream.h"

#include <gtest/gtest.h>

#include <string>

#include "test_files.h"

TEST(ReadLine, SaysThatALinePastTheLimitIsChopped) {
  write("/run/stream", std::string(40, 'a') + "\n");
  const OwnedFile in(fopen("/run/stream", "r"));
  int size = 64;
  char* buffer = newString(nullptr, size);
  testing::internal::CaptureStdout();
  EXPECT_EQ(readLine(nullptr, in.get(), buffer, size, 32), 33);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Line length (33) is greater than max line length (32). Chopping value.\n");
  delString(buffer);
}
