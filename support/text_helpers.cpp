#include "support/text_helpers.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "support/cv_string.h"

namespace cv {

char* copyWherePresent(const char* s) {
  return s ? newString(s) : nullptr;
}

char* newJoined(std::initializer_list<std::string_view> pieces) {
  size_t length = 0;
  for (const std::string_view piece : pieces) length += piece.size();
  char* joined = new char[length + 1];
  char* end = joined;
  for (const std::string_view piece : pieces) end = std::copy(piece.begin(), piece.end(), end);
  *end = '\0';
  return joined;
}

char* newStringv(const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  char most[256];
  // Negative if no int can hold the length of the result: the text is then empty.
  const int length = std::max(vsnprintf(most, sizeof most, format, args), 0);
  char* text = newString(length < static_cast<int>(sizeof most) ? most : nullptr, length);
  if (length >= static_cast<int>(sizeof most))
    vsnprintf(text, static_cast<size_t>(length) + 1, format, again);
  va_end(again);
  return text;
}

const char* behindChar(const char* s, char c, int n) {
  for (; n > 0; --n) {
    s = findChar(s, c);
    if (*s == '\0') return nullptr;
    ++s;
  }
  return s;
}

const char* printable(const char* s) {
  return s ? s : "(null)";
}

std::string escaped(std::string_view text, std::string_view also) {
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 0x7f && also.find(c) == also.npos) {
      shown += c;
      continue;
    }
    char code[8];
    snprintf(code, sizeof code, "\\x%02x", byte);
    shown += code;
  }
  return shown;
}

// Calls strtoll() only for numbers that may not fit. It also knows bases and locales: at every line
// of a large log it would cost a tenth of the scan.
bool readLongLong(const char*& s, long long& out) {
  constexpr long kDigitsThatFit = 18;
  const char* p = s;
  while (isWhiteSpace(*p)) ++p;
  const bool negative = *p == '-';
  if (negative || *p == '+') ++p;
  const char* const digits = p;
  unsigned long long number = 0;
  for (; isDigit(*p); ++p) number = 10 * number + static_cast<unsigned long long>(*p - '0');
  if (p == digits) return false;
  if (p - digits > kDigitsThatFit)
    out = strtoll(s, nullptr, 10);
  else
    out = static_cast<long long>(negative ? 0 - number : number);
  s = p;
  return true;
}

bool readInt(const char*& s, int& out) {
  long long number = 0;
  if (!readLongLong(s, number)) return false;
  out = static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
  return true;
}

}  // namespace cv
