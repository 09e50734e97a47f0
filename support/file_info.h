// The attributes of a file that a table may stand for.
#pragma once

#include "support/cv_string.h"

// Whoever owns the attributes owns the texts. A text is null until it is set. Times are in seconds,
// sizes in bytes.
struct FileInfo {
  char* filename = nullptr;
  long m_time = 0;
  long m_size = 0;
  long read_start_point = 0;
  unsigned int permission = 0;
  char* user = nullptr;
  char* group = nullptr;
  bool use_defaults = true;
  char* comments = nullptr;
  int file_errno = 0;
  char file_separator = '=';
  int file_option = 0;
  bool file_flag = false;

  void releaseTexts() {
    delString(filename, comments);
    delString(user, group);
  }
};
