#include "support/cv_string.h"

#include <strings.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "support/text_helpers.h"

namespace {

constexpr unsigned long kSmallestCapacity = 32;

char* newZeroed(size_t size) {
  return new char[size]();
}

// A zero-filled array for `capacity` characters and one byte more, with as much of `s` as fits.
char* copyInto(const char* s, size_t capacity) {
  char* buffer = newZeroed(capacity + 1);
  if (s) memcpy(buffer, s, strnlen(s, capacity));
  return buffer;
}

template <typename Number>
int order(Number a, Number b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

bool isEmpty(const char* s) {
  return s[0] == '\0';
}

// The verdict wherever a text is null or empty, for orders that put these last; else nothing.
std::optional<int> orderOfMissing(const char* a, const char* b) {
  if (!a || !b) return order(!a, !b);
  if (isEmpty(a) || isEmpty(b)) return order(isEmpty(a), isEmpty(b));
  return std::nullopt;
}

// The numbers that "%d.%d.%d.%d" reads; those that it cannot read stay 0.
struct DottedNumbers {
  int part[4] = {};

  explicit DottedNumbers(const char* s) {
    for (int& number : part) {
      if (!readInt(s, number) || *s != '.') return;
      ++s;
    }
  }
};

// The groups of a full IPv6 address, or false.
bool readGroups(const char* s, unsigned long (&groups)[8]) {
  for (int i = 0; i < 8; ++i) {
    if (i > 0 && *s++ != ':') return false;
    char* end = nullptr;
    groups[i] = strtoul(s, &end, 16);
    if (end == s) return false;
    s = end;
  }
  return true;
}

template <typename Number, size_t n>
int orderOfEach(const Number (&a)[n], const Number (&b)[n]) {
  for (size_t i = 0; i < n; ++i)
    if (a[i] != b[i]) return order(a[i], b[i]);
  return 0;
}

}  // namespace

void delString(char*& s) {
  delete[] s;
  s = nullptr;
}

void delString(char*& a, char*& b) {
  delString(a);
  delString(b);
}

char* newString(const char* s) {
  if (!s) s = "";
  const size_t size = strlen(s) + 1;
  char* copy = new char[size];
  memcpy(copy, s, size);
  return copy;
}

char* newString(const char* s, int n) {
  return copyInto(s, static_cast<size_t>(std::max(n, 0)));
}

char* newString(int count, const char* first, ...) {
  va_list pieces;
  size_t length = 0;
  va_start(pieces, first);
  for (int i = 0; i < count; ++i) {
    const char* piece = i == 0 ? first : va_arg(pieces, const char*);
    if (piece) length += strlen(piece);
  }
  va_end(pieces);

  char* joined = newZeroed(length + 1);
  char* end = joined;
  va_start(pieces, first);
  for (int i = 0; i < count; ++i) {
    const char* piece = i == 0 ? first : va_arg(pieces, const char*);
    if (piece) end = stpcpy(end, piece);
  }
  va_end(pieces);
  return joined;
}

char* newStringf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  char* text = newStringv(format, args);
  va_end(args);
  return text;
}

void addResult(char** acc, const char* s) {
  char* longer = newString(3, *acc, s, "<br>\n");
  delString(*acc);
  *acc = longer;
}

int growBuffer(int n, char*& buf) {
  char* larger = newString(buf, n);
  delString(buf);
  buf = larger;
  return n;
}

int newBuffer(unsigned int size, char*& buf) {
  return growBuffer(static_cast<int>(2 * size), buf);
}

const char* findChar(const char* s, char c) {
  return strchrnul(s, c);
}

const char* findString(const char* s, const char* needle, int caseSensitive) {
  const char* found = caseSensitive ? strstr(s, needle) : strcasestr(s, needle);
  return found ? found : s + strlen(s);
}

char* newStringUntil(const char* s, char stop, int max, int takePartial) {
  if (!s) return nullptr;
  int length = 0;
  while (length < max && s[length] != '\0' && s[length] != stop) ++length;
  if (s[length] != stop && !takePartial) return nullptr;
  return newString(s, length);
}

bool setSignedLongLong(const char* s, long long& out) {
  return s && readLongLong(s, out);
}

int strcomp(const char* a, const char* b) {
  if (const auto verdict = orderOfMissing(a, b)) return *verdict;
  while (*a == *b && *a != '\0') ++a, ++b;
  if (*a == '\0' || *b == '\0') return order(*a != '\0', *b != '\0');
  return order(static_cast<signed char>(*a), static_cast<signed char>(*b));
}

int strcasecomp(const char* a, const char* b) {
  if (!a || !b) return order(!a, !b);
  return strcasecmp(a, b);
}

int strlencomp(const char* a, const char* b) {
  if (const auto verdict = orderOfMissing(a, b)) return *verdict;
  return order(strlen(a), strlen(b));
}

int intcomp(const char* a, const char* b) {
  if (const auto verdict = orderOfMissing(a, b)) return -*verdict;
  return order(strtoll(a, nullptr, 10), strtoll(b, nullptr, 10));
}

int longlongcomp(const char* a, const char* b) {
  if (const auto verdict = orderOfMissing(a, b)) return -*verdict;
  long long number_a = 0;
  long long number_b = 0;
  if (!setSignedLongLong(a, number_a)) return -1;
  if (!setSignedLongLong(b, number_b)) return 1;
  return order(number_a, number_b);
}

int ipcomp(const char* a, const char* b) {
  if (const auto verdict = orderOfMissing(a, b)) return *verdict;
  return orderOfEach(DottedNumbers(a).part, DottedNumbers(b).part);
}

int ipv6comp(const char* a, const char* b) {
  if (const auto verdict = orderOfMissing(a, b)) return *verdict;
  unsigned long groups_a[8];
  unsigned long groups_b[8];
  if (!readGroups(a, groups_a) || !readGroups(b, groups_b)) return ipcomp(a, b);
  return orderOfEach(groups_a, groups_b);
}

String::String() {
  new_empty_string();
}

String::String(int copy, char* s) {
  if (!s || copy) {
    init(s);
    return;
  }
  buffer = s;
  length = strlen(s);
  capacity = length + 1;
}

String::String(String* other, int mode) {
  if (other && mode == 1) {
    init(other);
    return;
  }
  new_empty_string();
  if (other) set_raw(*other, mode);
}

String::String(const char* format, ...) {
  va_list args;
  va_start(args, format);
  buffer = newStringv(format, args);
  va_end(args);
  length = strlen(buffer);
  capacity = length + 1;
}

String::~String() {
  delString(buffer);
}

void String::init(const char* s) {
  length = s ? strlen(s) : 0;
  capacity = std::max(kSmallestCapacity, length + 1);
  char* copy = copyInto(s, capacity);
  delString(buffer);
  buffer = copy;
}

void String::init(String* other) {
  length = other->length;
  capacity = std::max(other->capacity, length + 1);
  char* copy = copyInto(other->buffer, capacity);
  delString(buffer);
  buffer = copy;
}

void String::set_raw(String& other, int copy) {
  if (copy) {
    if (!buffer) new_empty_string();
    if (other.length + 1 > capacity) expand_buff(other.length + 1, 2);
    if (other.length > 0) memmove(buffer, other.buffer, other.length);
    length = other.length;
    buffer[length] = '\0';
    return;
  }
  if (other.capacity == 0 || &other == this) return;
  delString(buffer);
  buffer = other.buffer;
  length = other.length;
  capacity = other.capacity;
  other.buffer = nullptr;
  other.length = 0;
  other.capacity = 0;
}

void String::set(const char* format, ...) {
  if (!buffer) new_empty_string();
  empty();
  va_list args;
  va_start(args, format);
  const int needed = std::max(vsnprintf(nullptr, 0, format, args), 0);
  va_end(args);
  length = static_cast<unsigned long>(needed);
  if (length + 1 > capacity) expand_buff(length + 1, 2);
  va_start(args, format);
  vsnprintf(buffer, length + 1, format, args);
  va_end(args);
}

void String::empty() {
  length = 0;
  if (buffer) buffer[0] = '\0';
}

void String::new_empty_string() {
  init(static_cast<const char*>(nullptr));
}

void String::expand_buff(unsigned long n, short factor) {
  capacity = n * static_cast<unsigned long>(factor);
  char* larger = copyInto(buffer, capacity);
  delString(buffer);
  buffer = larger;
  if (length < capacity) return;
  length = capacity > 0 ? capacity - 1 : 0;
  buffer[length] = '\0';
}

int String::cmp(const char* s, bool caseSensitive) const {
  return caseSensitive ? strcomp(buffer, s) : strcasecomp(buffer, s);
}

int String::cmp(String& s, bool caseSensitive) const {
  return cmp(s.buffer, caseSensitive);
}
