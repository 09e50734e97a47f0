#include "why/subject.h"

#include <arpa/inet.h>
#include <strings.h>

#include <cctype>
#include <cstring>

Subject::Subject(const std::string& argument) : type_(kUser), text_(argument) {
  unsigned char bytes[sizeof(in6_addr)];
  char usual[INET6_ADDRSTRLEN];
  for (const int family : {AF_INET, AF_INET6}) {
    if (inet_pton(family, argument.c_str(), bytes) != 1) continue;
    type_ = family == AF_INET ? kIPv4 : kIPv6;
    text_ = inet_ntop(family, bytes, usual, sizeof usual);  // as logs have it
  }
}

bool Subject::is(const std::string& user, const std::string& address) const {
  if (type_ == kNobody) return false;
  return type_ == kUser ? strcasecmp(user.c_str(), text_.c_str()) == 0 : address == text_;
}

bool Subject::isIn(const char* line) const {
  if (type_ == kNobody) return false;
  for (const char* at = line; (at = strcasestr(at, text_.c_str())); ++at) {
    const bool starts = at == line || !isPart(at[-1]);
    if (starts && !isPart(at[text_.size()])) return true;
  }
  return false;
}

// Whether this character next to the subject makes it a part of a longer word.
bool Subject::isPart(char c) const {
  const auto byte = static_cast<unsigned char>(c);
  if (type_ == kIPv4) return isdigit(byte) || c == '.';
  if (type_ == kIPv6) return isxdigit(byte) || c == ':' || c == '.';
  return isalnum(byte) || (c != '\0' && strchr("@._-+", c)) || byte >= 0x80;
}
