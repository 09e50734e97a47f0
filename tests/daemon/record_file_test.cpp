#include "daemon/record_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "test_files.h"

TEST(RecordFile, HoldsNothingOfTheRecordBefore) {
  constexpr char kPath[] = "/run/record";
  for (const char* record : {"when=1", "when=22", "when=33", "when=4", "", "when=5"}) {
    EXPECT_TRUE(replaceRecord(kPath, record));
    EXPECT_EQ(contentOf(kPath), record);
  }
  rlimit usual;
  getrlimit(RLIMIT_FSIZE, &usual);
  signal(SIGXFSZ, SIG_IGN);
  for (const size_t room : {4u, 0u}) {
    write(kPath, "before");
    const rlimit little = {room, usual.rlim_max};
    setrlimit(RLIMIT_FSIZE, &little);
    EXPECT_TRUE(replaceRecord(kPath, "behind"));
    setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(contentOf(kPath), std::string("behind").substr(0, room)) << "as much as has room";
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
