// ConfigFile through any sequence of changes, against a map in the same order.

#include <map>

#include "fuzz.h"
#include "orders.h"
#include "support/configfile.h"
#include "support/cv_string.h"
#include "support/listfile.h"
#include "support/text_helpers.h"

namespace {

constexpr unsigned kMostAtOnce = 1500;  // more than gather before they are merged

struct TableAndMap {
  ConfigFile table;
  std::map<Key, std::pair<std::string, std::string>> map;  // name and value
  unsigned at_once = 0;

  explicit TableAndMap(unsigned settings) : table(nullptr, nullptr, settings / 2 % 20) {
    table.char_case = settings % 2 == 0;
  }

  Key keyOf(const std::string& name) const {
    return table.char_case ? keyOfText(name.c_str()) : keyOfLetters(name.c_str());
  }

  // An entry keeps its first spelling, and without a value the one that it has.
  void store(const std::string& name, const std::string& value) {
    auto& entry = map.try_emplace(keyOf(name), name, "").first->second;
    if (!value.empty()) entry.second = value;
  }

  void set(const std::string& name, const std::string& value, bool copy, bool allow_empty) {
    OwnedText text(value.empty() ? nullptr : newString(value.c_str()));
    const bool takes = !name.empty() || allow_empty;
    CHECK(table.setParam(name.c_str(), text.get(), copy, kTextValue, allow_empty) == takes, name);
    if (takes) store(name, value);
    if (takes && !copy) text.release();
  }

  void setNumber(const std::string& name, int value) {
    table.setParam(name.c_str(), value);
    if (!name.empty()) store(name, std::to_string(value));
  }

  void remove(const std::string& name) {
    table.deleteParam(name.c_str(), nullptr);
    if (!name.empty()) map.erase(keyOf(name));
  }

  void removeEach(unsigned nth) {
    ListFile names(nullptr, static_cast<const char*>(nullptr));
    unsigned i = 0;
    std::erase_if(map, [&names, &i, nth](const auto& entry) {
      const char* name = entry.second.first.c_str();
      if (!*name || ++i % nth != 0) return false;
      names.addElement(name, true, false);
      return true;
    });
    table.deleteParams(names);
  }

  void check() {
    CHECK(table.getIndex("in no input", nullptr) == -1, "absent");
    long long i = 0;
    for (const auto& [key, entry] : map) {
      const auto& [name, value] = entry;
      CHECK(table.getNameAt(i) == name && table.getValueAt(i) == value, name);
      CHECK(table.getIndex(name.c_str(), nullptr) == i++, name);
    }
    CHECK(i == table.param && (i == table.size || !table.getNameAt(i)), std::to_string(i));
  }
};

// Few enough names that they meet, on both sides of where their first eight bytes end.
std::string nameFrom(Input& input) {
  const unsigned length = input.byte();
  return (length & 16 ? "12345678" : "") + input.text(length % 8 % 5);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  TableAndMap both(input.byte());
  while (!input.rest.empty()) {
    const unsigned what = input.byte(), kind = what % 16;
    const std::string name = nameFrom(input);
    if (kind == 0)
      both.table.gather(what & 16);
    else if (what == 1)
      both.table.empty(), both.map.clear();
    else if (kind == 2)
      both.setNumber(name, static_cast<int>(input.word()));
    else if (kind < 5)
      both.remove(name);
    else if (kind == 5 && both.table.char_case)
      both.removeEach(1 + what / 16);
    else if (what == 6)
      for (unsigned i = input.byte() * 8; i > 0 && both.at_once < kMostAtOnce; --i, ++both.at_once)
        both.setNumber(name + std::to_string(i * 17 % 4096), static_cast<int>(i));
    else if (kind == 7)
      both.check();
    else
      both.set(name, what & 64 ? std::to_string(input.rest.size()) : "", what & 16, what & 32);
    const std::string asked = nameFrom(input);
    const auto found = both.map.find(both.keyOf(asked));
    const char* value = both.table.getValue(asked.c_str());
    CHECK(found == both.map.end() ? !value : value && found->second.second == value, asked);
  }
  both.check();
  return 0;
}
