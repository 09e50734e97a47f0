// ConfigFile through any sequence of calls and of writes to its fields, against the same steps
// taken on plain values. Whatever comes, every slot and every answer must be the same.

#include <optional>
#include <vector>

#include "fuzz.h"
#include "support/configfile.h"
#include "support/cv_string.h"

namespace {

using Text = std::optional<std::string>;

const char* chars(const Text& text) {
  return text ? text->c_str() : nullptr;
}

struct Entry {
  Text name, value;
  int type = 1;  // beyond 6: no text, and so without a value
};

struct PlainTable {
  std::vector<Entry> slots = std::vector<Entry>(3);
  long param = 0;
  bool char_case = true, wait_to_sort = false, duplicate = false, multi_type = false;
  bool changed = false;
  int sort_type = 0;

  Entry& at(long i) { return slots[static_cast<size_t>(i)]; }
  bool isText(const Entry& entry) const { return !multi_type || entry.type <= 6; }

  int compareNames(const char* a, const char* b) const {
    return char_case ? strcomp(a, b) : strcasecomp(a, b);
  }
  int compareValues(const Entry& entry, const char* value) const {
    if (!isText(entry)) return value ? -1 : 0;
    return (multi_type && entry.type == 3 ? intcomp : strcomp)(chars(entry.value), value);
  }
  int compare(const Entry& a, const Entry& b) const {
    const char *x = chars(a.name), *y = chars(b.name);
    const int c = sort_type == 1   ? longlongcomp(x, y)
                  : sort_type == 2 ? strlencomp(y, x)
                  : sort_type == 3 ? strlencomp(x, y)
                                   : compareNames(x, y);
    return c == 0 && duplicate ? compareValues(a, chars(b.value)) : c;
  }

  // The steps count: where equal entries end, and so what a search finds, depends on them.
  void sort(long lo, long hi) {
    if (lo >= hi) return;
    const Entry pivot = at((lo + hi) / 2);
    long i = lo, j = hi;
    while (i <= j) {
      while (i < hi && compare(at(i), pivot) < 0) ++i;
      while (j > lo && compare(at(j), pivot) > 0) --j;
      if (i <= j) std::swap(at(i++), at(j--));
    }
    sort(lo, j);
    sort(i, hi);
  }

  long index(const char* name, const char* value) {
    const auto compareAt = [&](long i) {
      const int c = compareNames(chars(at(i).name), name);
      return c == 0 && value ? compareValues(at(i), value) : c;
    };
    for (long i = 0; wait_to_sort && i < param; ++i)
      if (compareAt(i) == 0 && (!value || isText(at(i)))) return i;
    for (long lo = 0, hi = param - 1; !wait_to_sort && lo <= hi;) {
      const long mid = (lo + hi) / 2;
      const int c = compareAt(mid);
      if (c == 0) return mid;
      (c < 0 ? lo : hi) = c < 0 ? mid + 1 : mid - 1;
    }
    return -1;
  }

  void set(const char* name, const char* value, bool copy, int type) {
    if (!*name) return;
    changed = true;
    const long found = wait_to_sort ? -1 : index(name, duplicate ? value : nullptr);
    if (found != -1 && !value) return;
    if (found == -1 && param == static_cast<long>(slots.size()))
      slots.resize(slots.size() * (slots.size() < 64 ? 4 : 2));
    Entry& entry = at(found != -1 ? found : param++);
    if (found == -1) entry.name = name;
    const bool is_null = type > 6 || (!value && !copy && type != 1);
    entry.value = is_null ? Text() : Text(value ? value : "");
    entry.type = multi_type ? type : 1;
    if (found == -1 && !wait_to_sort) sort(0, param - 1);
  }

  void remove(const char* name, const char* value) {
    const long i = *name ? index(name, value) : -1;
    changed |= *name != '\0';
    if (i == -1) return;
    at(i) = Entry();
    wait_to_sort ? closeGap(i) : sort(0, param - 1);
    --param;
  }

  void closeGap(long to) {
    for (long from = to + 1; from < static_cast<long>(slots.size()); ++from) {
      if (!at(from).name) continue;
      at(to++) = {at(from).name, at(from).value, 1};
      at(from) = {Text(), Text(), multi_type ? at(from).type : 1};
    }
  }
};

// A few letters in both cases and digits, so that names meet; some are longer than most.
std::string nameFrom(Input& input) {
  static constexpr char kLetters[] = "abABb1 9\x80";
  const unsigned shape = input.byte();
  std::string name = shape > 230 ? "1234567890123456" : "";
  for (unsigned i = 0; i < shape % 4; ++i) name += kLetters[(shape / 4 + i * 5) % 9];
  return name;
}

void check(ConfigFile& table, PlainTable& plain) {
  CHECK(table.param == plain.param, std::to_string(plain.param));
  CHECK(table.size == static_cast<long>(plain.slots.size()), std::to_string(table.size));
  CHECK(table.changed == plain.changed, std::to_string(plain.changed));
  for (long i = 0; i < table.size; ++i) {
    CHECK(strcomp(table.getNameAt(i), chars(plain.at(i).name)) == 0, std::to_string(i));
    CHECK(strcomp(table.getValueAt(i), chars(plain.at(i).value)) == 0, std::to_string(i));
    CHECK(table.get_type_at(i) == (plain.multi_type ? plain.at(i).type : 1), std::to_string(i));
  }
}

void writeFields(Input& input, ConfigFile& table, PlainTable& plain) {
  const unsigned what = input.byte(), field = what % 8;
  const bool on = what & 16;
  const long i = static_cast<long>(input.byte() % plain.slots.size());
  table.changed = plain.changed = what & 32;
  if (field == 0) table.char_case = plain.char_case = on;
  if (field == 1) table.wait_to_sort = plain.wait_to_sort = on;
  if (field == 2) table.duplicate = plain.duplicate = on;
  if (field == 3) table.sort_type = static_cast<short>(plain.sort_type = what / 16 % 5);
  if (field == 4) table.multi_type = plain.multi_type = on;
  if (field == 6 && !on) table.param = plain.param = i;
  if (field == 6 && on && !plain.at(i).name) {
    table.params[i] = nullptr;  // the table keeps the record
    plain.at(i) = Entry();
  }
  if (field == 5) std::swap(table.params[i], table.params[0]);
  if (field == 5) std::swap(plain.at(i), plain.at(0));
  if (field != 7 || !plain.at(i).name) return;
  plain.at(i).name = nameFrom(input);
  delString(table.params[i]->name);
  table.params[i]->name = newString(chars(plain.at(i).name));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  ConfigFile table(nullptr, nullptr, 3);
  PlainTable plain;
  while (!input.rest.empty()) {
    const unsigned what = input.byte(), kind = what % 16;
    const std::string name = nameFrom(input);
    const Text value = what & 16 ? Text(std::to_string(input.byte() % 4)) : Text();
    if (kind == 0) table.gather(what & 16);
    if (kind == 1) table.gather(false);
    if (kind == 1) writeFields(input, table, plain);
    if (kind == 2 && what & 16) check(table, plain);
    if (kind > 2 && kind < 7) table.deleteParam(name.c_str(), chars(value));
    if (kind > 2 && kind < 7) plain.remove(name.c_str(), chars(value));
    if (kind > 6) {
      static constexpr int kTypes[] = {1, 1, 3, 6, 9, 1, 1, 1};
      const bool copy = value || what & 1;
      table.setParam(name.c_str(), chars(value), copy, kTypes[what / 32], false);
      plain.set(name.c_str(), chars(value), copy, kTypes[what / 32]);
    }
    const std::string asked = nameFrom(input);
    const long slot = plain.index(asked.c_str(), nullptr);
    const char* found = slot == -1 ? nullptr : chars(plain.at(slot).value);
    if (kind == 2) CHECK(strcomp(table.getValueAt(slot), found) == 0, asked);
    CHECK(strcomp(table.getValue(asked.c_str()), found) == 0, asked);
  }
  check(table, plain);
  return 0;
}
