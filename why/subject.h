// Whom the question is about: a client's address or a user.
#pragma once

#include <string>

#include "why/kinds.h"

class Subject {
 public:
  enum Type { kNobody, kUser, kIPv4, kIPv6 };

  Subject() = default;
  explicit Subject(const std::string& argument);  // an address if it can be read as one

  Type type() const { return type_; }
  const std::string& text() const { return text_; }
  bool isAddress() const { return type_ == kIPv4 || type_ == kIPv6; }

  // Whether this is the user or the address of a login. Upper and lower case of a user do not
  // matter.
  bool is(const std::string& user, const std::string& address) const;

  // Whether the line has it as a whole word.
  bool isIn(const char* line) const;

 private:
  bool isPart(char c) const;

  Type type_ = kNobody;
  std::string text_;
};
