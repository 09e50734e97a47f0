// Holders for what a function owns only until it returns: a text and an open file.
//
// They make every way out release. Nothing else: not copyable, and release() hands the pointer on
// to its next owner.
#pragma once

#include <cstdio>

#include "support/cv_string.h"

class OwnedText {
 public:
  explicit OwnedText(char* adopted) : text_(adopted) {}
  ~OwnedText() { delString(text_); }
  OwnedText(const OwnedText&) = delete;
  OwnedText& operator=(const OwnedText&) = delete;

  // Null when the function that made the text had none to give.
  char* get() const { return text_; }
  explicit operator bool() const { return text_ != nullptr; }

  // The caller owns the text from here on.
  char* release() {
    char* handed_on = text_;
    text_ = nullptr;
    return handed_on;
  }

 private:
  char* text_;
};

class OwnedFile {
 public:
  explicit OwnedFile(FILE* adopted) : file_(adopted) {}
  ~OwnedFile() {
    if (file_) fclose(file_);
  }
  OwnedFile(const OwnedFile&) = delete;
  OwnedFile& operator=(const OwnedFile&) = delete;

  // Null when the file could not be opened.
  FILE* get() const { return file_; }
  explicit operator bool() const { return file_ != nullptr; }

 private:
  FILE* file_;
};
