#include "daemon/record_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

TEST(RecordFile, APipeInPlaceOfARecordGetsNone) {
  constexpr char kPipe[] = "/run/pipe";
  ASSERT_EQ(mkfifo(kPipe, 0600), 0);
  const int reader = open(kPipe, O_RDONLY | O_NONBLOCK);
  EXPECT_FALSE(replaceRecord(kPipe, "when=1"));
  EXPECT_FALSE(appendRecord(kPipe, "type=imap"));
  EXPECT_EQ(errno, ENXIO);
  char byte;
  EXPECT_EQ(read(reader, &byte, 1), 0);
  close(reader);
}
