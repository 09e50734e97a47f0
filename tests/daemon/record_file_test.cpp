#include "daemon/record_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "test_files.h"

TEST(RecordFile, HoldsNothingOfTheRecordBefore) {
  constexpr char kPath[] = "/run/record";
  for (const char* record : {"when=1", "when=22", "when=33", "when=4", "", "when=5"}) {
    EXPECT_TRUE(replaceRecord(kPath, record));
    EXPECT_EQ(contentOf(kPath), record);
  }
}

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
