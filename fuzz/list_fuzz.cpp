// ListFile through any sequence of changes, against a map in the same order. An input is the kind
// of list, and texts, each behind what becomes of it and its length.

#include <bit>
#include <map>

#include "fuzz.h"
#include "orders.h"
#include "support/cv_string.h"
#include "support/listfile.h"
#include "support/text_helpers.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const unsigned kind = input.byte() % 3;
  const auto keyOf = kind == 1 ? keyOfAddress : kind == 2 ? keyOfLetters : keyOfText;
  ListFile list(nullptr, "file");
  list.listType = kind == 1 ? ListFile::kIpv4Texts : ListFile::kTexts;
  list.set_setting(ListFile::kCaseSensitive, kind != 2);
  std::map<Key, std::string> map;
  long long capacity = 64;

  const auto add = [&](const std::string& text, bool copy) {
    const bool takes = !text.empty() && map.try_emplace(keyOf(text.c_str()), text).second;
    OwnedText given(newString(text.c_str()));
    list.addElement(given.get(), copy, false);
    if (takes && !copy) given.release();
    capacity = std::max(capacity, static_cast<long long>(std::bit_ceil(map.size())));
  };
  while (!input.rest.empty()) {
    const unsigned what = input.byte();
    const std::string text = input.text(what / 16 % 8);
    if (what == 0)
      list.empty(), map.clear();
    else if (what == 3)
      for (int i = 0; i < 80; ++i) add(std::to_string(i * 37 % 80), i % 2);
    else if (what % 4 != 2)
      add(text, what % 2);
    const auto found = map.find(keyOf(text.c_str()));
    const auto slot = found == map.end() ? -1 : std::distance(map.begin(), found);
    CHECK(list.getIndex(text.c_str(), false) == slot, text);
  }
  CHECK(list.count == static_cast<int>(map.size()) && list.capacity == capacity, "");
  void** element = list.elements;
  for (const auto& [key, text] : map) CHECK(static_cast<char*>(*element++) == text, text);
  return 0;
}
