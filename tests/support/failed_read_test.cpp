#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/line_reader.h"
#include "support/stream.h"

TEST(LineReader, KeepsALineThatCannotBeReadWholeForLater) {
  int ends[2], size = 64;
  char room[64], *buffer = room;
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);  // empty but for this, it fails to be read
  ASSERT_EQ(write(ends[1], "one\ntw", 6), 6);
  const OwnedFile in(fdopen(ends[0], "r"));
  LineReader lines(nullptr, in.get(), buffer, size);
  EXPECT_STREQ(lines.next(), "one");
  EXPECT_EQ(lines.next(), nullptr);
  EXPECT_EQ(lines.handedOver(), 4);
  close(ends[1]);
}
