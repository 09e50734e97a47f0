// The limit for files that are read into memory.
#pragma once

struct Config {
  long long max_read_to_memory_size = 0;  // bytes; a larger file is not read
};
