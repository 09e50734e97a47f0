// The limits under which files are read into memory.
#pragma once

struct Config {
  long long max_read_to_memory_size = 0;  // bytes
};
