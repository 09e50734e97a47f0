// What the comparison functions of support/cv_string.h mean: each order as a key, so that texts
// compare as their keys do, number by number. Keys make an order antisymmetric and transitive.
#pragma once

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <vector>

using Key = std::vector<long long>;

inline Key keyOfText(const char* s) {  // strcomp
  if (!s || !*s) return {s ? 1 : 2};
  Key key = {0};
  for (; *s; ++s) key.push_back(static_cast<signed char>(*s));
  return key;
}

inline Key keyOfLetters(const char* s) {  // strcasecomp
  if (!s) return {1};
  Key key = {0};
  for (; *s; ++s) key.push_back(tolower(static_cast<unsigned char>(*s)));
  return key;
}

inline Key keyOfLength(const char* s) {  // strlencomp
  if (!s || !*s) return {s ? 1 : 2};
  return {0, static_cast<long long>(strlen(s))};
}

inline Key keyOfReadable(const char* s) {  // longlongcomp
  if (!s || !*s) return {s ? 1 : 0};
  long long number = 0;
  return sscanf(s, "%lld", &number) == 1 ? Key{3, number} : Key{2};
}

inline Key keyOfNumber(const char* s) {  // intcomp
  const Key key = keyOfReadable(s);
  return key == Key{2} ? Key{3, 0} : key;
}

inline Key keyOfAddress(const char* s) {  // ipcomp
  if (!s || !*s) return {s ? 1 : 2};
  Key key(5);
  sscanf(s, "%lld.%lld.%lld.%lld", &key[1], &key[2], &key[3], &key[4]);
  for (auto& part : key) part = std::clamp<long long>(part, INT_MIN, INT_MAX);
  return key;
}
