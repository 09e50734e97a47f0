// The comparison functions, over all pairs of the lines of an input, the empty text and null.

#include <set>

#include "fuzz.h"
#include "orders.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"

namespace {

constexpr struct {
  int (*compare)(const char*, const char*);
  Key (*key)(const char*);
} kOrders[] = {{strcomp, keyOfText},   {strcasecomp, keyOfLetters},   {strlencomp, keyOfLength},
               {intcomp, keyOfNumber}, {longlongcomp, keyOfReadable}, {ipcomp, keyOfAddress}};

int orderOf(const Key& a, const Key& b) {
  return (a > b) - (a < b);
}

// The groups of a full IPv6 address of plain digits, otherwise none.
Key groupsOf(const char* s) {
  unsigned n[8];
  char end;
  const bool plain = s && strlen(s) < 40 && s[strspn(s, "0123456789abcdefABCDEF:")] == '\0';
  if (plain && sscanf(s, "%8x:%8x:%8x:%8x:%8x:%8x:%8x:%8x%c", n, n + 1, n + 2, n + 3, n + 4, n + 5,
                      n + 6, n + 7, &end) == 8)
    return {n, n + 8};
  return {};
}

void checkPair(const char* a, const char* b) {
  const std::string shown = std::string(printable(a)) + ", " + printable(b);
  for (const auto& [compare, key] : kOrders) {
    const Key left = key(a), right = key(b);
    // Two texts without a number: the first of them comes first.
    const bool unreadable = compare == longlongcomp && left == Key{2} && right == Key{2};
    const int want = unreadable ? -1 : orderOf(left, right), got = compare(a, b);
    CHECK(got == want || (compare == strcasecomp && (got > 0) - (got < 0) == want), shown);
  }
  const Key left = groupsOf(a), right = groupsOf(b);
  if (!left.empty() && !right.empty())
    CHECK(ipv6comp(a, b) == orderOf(left, right), shown);
  else if (!a || !b || !strchr(a, ':') || !strchr(b, ':'))  // one is certainly no IPv6 address
    CHECK(ipv6comp(a, b) == orderOf(keyOfAddress(a), keyOfAddress(b)), shown);
  CHECK(ipv6comp(a, b) == -ipv6comp(b, a), shown);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::set<std::string> pool = {""};
  for (Input input(data, size); !input.rest.empty() && pool.size() < 9;) pool.insert(input.line());
  std::vector<const char*> texts = {nullptr};
  for (const std::string& text : pool) texts.push_back(text.c_str());
  for (const char* a : texts)
    for (const char* b : texts) checkPair(a, b);
  return 0;
}
