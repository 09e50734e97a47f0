// Small helpers for texts that the files of this project share.
//
// These are not part of the library's interface. They are in headers of their own and in the
// namespace cv, because a program that links the library may have its own isDigit().
#pragma once

#include <charconv>
#include <cstdarg>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace cv {

// --- Making texts ---

// A text that a function owns until it returns or hands it on with release().
using OwnedText = std::unique_ptr<char[]>;

// A copy of `s`, or null for null.
char* copyWherePresent(const char* s);

// The pieces joined, as a new text. Faster than a format, for texts that many lines need.
char* newJoined(std::initializer_list<std::string_view> pieces);

// As newStringf(), from an argument list.
char* newStringv(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

// --- Looking at texts, which must not be null unless the function says so ---

// What follows the n-th `c` in `s`, or null if it has fewer.
const char* behindChar(const char* s, char c, int n);

// `s`, or "(null)" for a null one, as messages show it.
const char* printable(const char* s);

// `text` with all but printable ASCII, and the characters in `also`, as "\xHH".
std::string escaped(std::string_view text, std::string_view also);

// Compares in place. Most texts differ from a keyword in their first characters, so a call of
// strncmp() would cost more.
inline bool startsWith(const char* s, std::string_view prefix) {
  for (const char c : prefix)
    if (*s++ != c) return false;
  return true;
}

inline bool startsWithAny(const char* s, std::span<const std::string_view> prefixes) {
  for (const std::string_view prefix : prefixes)
    if (startsWith(s, prefix)) return true;
  return false;
}

// What scanf() and strtol() take for white space.
inline bool isWhiteSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// --- Numbers ---

// A number as decimal text.
struct Decimal {
  explicit Decimal(long long number) {
    char* const end = std::to_chars(text, text + sizeof text - 1, number).ptr;
    *end = '\0';
    length = static_cast<size_t>(end - text);
  }
  operator std::string_view() const { return {text, length}; }

  char text[21];
  size_t length;
};

// As setSignedLongLong(), for a text that is not null. Moves `s` behind the number, if there is
// one.
bool readLongLong(const char*& s, long long& out);

// The same for an int. Beyond an int: the nearest one that fits.
bool readInt(const char*& s, int& out);

}  // namespace cv

using namespace cv;
