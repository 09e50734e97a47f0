// Texts on the heap, the growable String, searching, and the orders of sorted tables.
//
// A text is a NUL-terminated char array from new[]. Whoever receives one from a function below
// owns it and releases it with delString(). A null pointer and an empty text are different values.
// A null `log` counts as a default-constructed one. Only memory that runs out throws.
#pragma once

#include <cstdio>

class Logging;

// --- Making and releasing texts ---

// Releases `s` unless it is null, and sets it to null.
void delString(char*& s);
void delString(char*& a, char*& b);

// A copy of `s`; of null, a new empty text.
char* newString(const char* s);

// A zero-filled array of n + 1 bytes with at most the first n characters of `s`, none if `s` is
// null: a bounded copy, or a buffer. A negative n counts as 0.
char* newString(const char* s, int n);

// The `count` texts, `first` and count - 1 further const char*, joined. Null pieces are skipped.
char* newString(int count, const char* first, ...);

// The printf-style result in a text of just the needed size. Empty if no int can hold its length.
char* newStringf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Appends `s` and "<br>\n" to the text *acc, which may be null and is released and replaced.
void addResult(char** acc, const char* s);

// Replaces `buf`, which may be null, by a zero-filled array of n + 1 bytes with at most n
// characters of its text, and returns n. newBuffer() does so with twice `size`, which must fit into
// an int.
int growBuffer(int n, char*& buf);
int newBuffer(unsigned int size, char*& buf);

// --- Searching and cutting; `s` must not be null unless the function says so ---

// The first `c` in `s`, or the terminating NUL of `s`: never null, so test the character found.
const char* findChar(const char* s, char c);

// Where the whole `needle` first stands in `s`, or the terminating NUL of `s`. Case counts unless
// caseSensitive is 0. An empty needle stands at the start.
const char* findString(const char* s, const char* needle, int caseSensitive);

// The first character of `s` that is no space, tab, carriage return or newline. Null stays null.
inline const char* trim(const char* s) {
  while (s && (*s == ' ' || *s == '\t' || *s == '\r' || *s == '\n')) ++s;
  return s;
}

// The characters of `s` before the first `stop`, as a new text. `stop` must follow within `max`
// characters (it may be the one right behind them); otherwise, and for a null `s`, null. With
// takePartial the text may also end without it, at the end of `s` or after `max` characters.
char* newStringUntil(const char* s, char stop, int max, int takePartial);

// --- Numbers ---

// Reads the decimal number at `s`, which may follow white space and a sign. False, and `out`
// untouched, for a null `s` or if there is no number. Beyond 64 bits: the nearest one that fits.
bool setSignedLongLong(const char* s, long long& out);

// --- Lines ---

// Reads one line into `buffer`, an array of `size` bytes (2 or more) from newString(). Returns the
// number of bytes read, or -1 when none are left. An error of reading counts as the end of the
// file.
//
// A newline ends the line; it is neither stored nor counted. A carriage return before it is counted
// and then removed. NUL bytes count like others. The last line may lack its newline. The text is
// terminated, and every byte behind it is zero. Whenever fewer than 32 bytes would stay free,
// `buffer` is replaced by one of twice the size. With maxLength > 0 a line that is already longer
// is cut at this point instead, with an error message: the rest is the next line. A buffer cannot
// grow beyond 1 GiB: a longer line is cut there in the same way.
int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength);

// --- Orders: -1, 0 or 1 ---
//
// Null and empty texts have fixed places: behind all others, null last, in strcomp, strlencomp,
// ipcomp and ipv6comp; before all others, null first, in intcomp and longlongcomp.

// By characters as signed values (bytes from 0x80 up come before ASCII); a prefix comes first.
int strcomp(const char* a, const char* b);

// As strcasecmp(): any number of the right sign, not only -1 and 1. Null last, empty first.
int strcasecomp(const char* a, const char* b);

// By length alone, the shorter first.
int strlencomp(const char* a, const char* b);

// By the decimal number at the start; no number reads as 0.
int intcomp(const char* a, const char* b);

// The same, but a text without a number comes first. Of two such texts `a` comes first.
int longlongcomp(const char* a, const char* b);

// By the four numbers of a dotted IPv4 address, as many as can be read, the others 0.
int ipcomp(const char* a, const char* b);

// By the eight groups of two full IPv6 addresses; if either is anything else, as ipcomp.
int ipv6comp(const char* a, const char* b);

// --- The growable text ---

// `buffer` is owned, NUL-terminated and, unless adopted or formatted, one byte larger than
// `capacity`; length < capacity. A text of length n that does not fit makes the capacity
// 2 * (n + 1). A String that was taken over by set_raw has no buffer and capacity 0.
class String {
 public:
  char* buffer = nullptr;
  unsigned long length = 0;
  unsigned long capacity = 0;

  String();                         // empty, capacity 32
  String(int copy, char* s);        // copies `s`, or with copy 0 adopts it; null: empty
  String(String* other, int mode);  // mode 1: a deep copy; else set_raw(*other, mode); null: empty
  explicit String(const char* format, ...) __attribute__((format(printf, 2, 3)));
  ~String();
  String(const String&) = delete;
  String& operator=(const String&) = delete;

  // Each replaces what was there.
  void init(const char* s);  // capacity at least 32; null: empty
  void init(String* other);  // not null; capacity as the other's

  // With copy: copies the other's text. Without: takes over its buffer and leaves it without one;
  // nothing happens if it has none.
  void set_raw(String& other, int copy);

  // Replaces the text by the formatted one, whose arguments must not lie in this buffer.
  void set(const char* format, ...) __attribute__((format(printf, 2, 3)));

  void empty();                                     // length 0; the buffer stays
  void new_empty_string();                          // empty, with a new buffer of capacity 32
  void expand_buff(unsigned long n, short factor);  // capacity n * factor; the text stays as far
                                                    // as it is shorter than that

  // The text, owned by this String and valid until it changes; null if it was taken over.
  const char* operator()() const { return buffer; }

  int cmp(const char* s, bool caseSensitive) const;
  int cmp(String& s, bool caseSensitive) const;
};
