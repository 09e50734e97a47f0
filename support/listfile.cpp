#include "support/listfile.h"

#include <algorithm>

#include "support/container.h"
#include "support/cv_string.h"
#include "support/logging.h"
#include "support/text_helpers.h"

namespace {

constexpr long long kFirstSlots = 64;

const char* asText(const void* element) {
  return static_cast<const char*>(element);
}

Container* asContainer(const void* element) {
  return static_cast<Container*>(const_cast<void*>(element));
}

}  // namespace

ListFile::ListFile(Logging* log_to, const char* path) : log(log_to) {
  init();
  elements = new void*[kFirstSlots]();
  user = newString("nobody");
  filename = copyWherePresent(path);
}

ListFile::ListFile(Logging* log_to, ListFile* other) : log(log_to) {
  init();
  if (!other) {
    if (log) log->debug(2500, "ListFile::ListFile(ListFile *lf): lf=NULL.");
    elements = new void*[kFirstSlots]();
    user = newString("nobody");
    return;
  }
  filename = copyWherePresent(other->filename);
  listType = other->listType;
  capacity = static_cast<int>(other->capacity);
  elements = new void*[static_cast<size_t>(capacity)]();
  for (long long i = 0; i < capacity; ++i) {
    void* element = other->elements[i];
    if (!element) continue;
    if (listType == kContainers)
      elements[i] = new Container(log, asContainer(element));
    else
      elements[i] = newString(asText(element));
  }
  user = copyWherePresent(other->user);
  group = copyWherePresent(other->group);
  permission = other->permission;
  count = other->count;
}

ListFile::~ListFile() {
  empty();
  delete[] elements;
  delString(filename, text);
  delString(user, group);
}

void ListFile::init() {
  filename = nullptr;
  text = newString("");
  listType = kTexts;
  capacity = kFirstSlots;
  count = 0;
  elements = nullptr;
  m_time = 0;
  m_size = 0;
  settings = kDefaultSettings;
  user = nullptr;
  group = nullptr;
  permission = 0;
}

void ListFile::set_setting(unsigned char mask, bool on) {
  settings = static_cast<unsigned char>(on ? settings | mask : settings & ~mask);
}

void ListFile::releaseElement(void*& element) const {
  if (listType == kContainers)
    delete asContainer(element);
  else
    delete[] static_cast<char*>(element);
  element = nullptr;
}

void ListFile::empty() {
  for (long long i = 0; i < capacity; ++i)
    if (elements[i]) releaseElement(elements[i]);
  count = 0;
}

void ListFile::ensureRoom() {
  if (count < capacity) return;
  capacity = std::max(2 * capacity, kFirstSlots);
  auto** larger = new void*[static_cast<size_t>(capacity)]();
  std::copy(elements, elements + count, larger);
  delete[] elements;
  elements = larger;
}

void ListFile::set_to_Container_type() {
  if (listType == kContainers) return;
  listType = kContainers;
  gathering_ = false;
  for (int i = 0; i < count; ++i)
    if (elements[i]) elements[i] = new Container(asText(elements[i]), 0);
}

// The order of the list.
int ListFile::lfcomp(const void* a, const void* b) const {
  switch (listType) {
    case kTexts:
      return get_setting(kCaseSensitive) ? strcomp(asText(a), asText(b))
                                         : strcasecomp(asText(a), asText(b));
    case kIpv4Texts:
      return ipcomp(asText(a), asText(b));
    case kIpv6Texts:
      return ipv6comp(asText(a), asText(b));
    case kContainers:
      if (!a || !b) return Container::comp_void(const_cast<void*>(a), const_cast<void*>(b));
      return asContainer(a)->comp(log, asContainer(b), true);
    default:
      if (log)
        log->debug(10, "ListFile::lfcomp(%s, %s) listType: %d\n", printable(asText(a)),
                   printable(asText(b)), listType);
      return 0;
  }
}

int ListFile::compareKey(const char* key, bool key_is_container, void* element) const {
  if (listType != kContainers || key_is_container || !element) return lfcomp(key, element);
  return -asContainer(element)->comp_str(key, get_setting(kCaseSensitive));
}

int ListFile::getIndex(const char* key, bool key_is_container) {
  if (!key || count == 0) return -1;
  if (get_setting(kUnsorted)) {
    for (int i = 0; i < capacity; ++i)
      if (elements[i] && compareKey(key, false, elements[i]) == 0) return i;
    return -1;
  }
  int lo = 0;
  int hi = count - 1;
  while (lo <= hi) {
    const int mid = lo + (hi - lo) / 2;
    const int c = compareKey(key, key_is_container, elements[mid]);
    if (c == 0) return mid;
    if (c > 0)
      lo = mid + 1;
    else
      hi = mid - 1;
  }
  return -1;
}

void* ListFile::get_value_ptr(const char* value, bool copy, bool value_is_container) {
  if (listType == kContainers && !value_is_container) return new Container(value, copy);
  if (!copy) return const_cast<char*>(value);
  if (listType == kContainers) return new Container(log, asContainer(value));
  return newString(value);
}

// Whether each element is a text and greater than the one before it. Callers may have written to
// the fields, so that it must be asked each time.
bool ListFile::standsInOrder() const {
  if (listType != kTexts || get_setting(kUnsorted)) return false;
  for (int i = 0; i < count; ++i) {
    if (!elements[i]) return false;
    if (i > 0 && lfcomp(elements[i - 1], elements[i]) >= 0) return false;
  }
  return true;
}

void ListFile::gather(bool on) {
  gathering_ = on && standsInOrder();
}

void ListFile::addElement(const char* value, bool copy, bool value_is_container) {
  if (!value) return;
  if (value_is_container ? asContainer(value)->type == Container::kNone : *value == '\0') return;
  if (value_is_container) set_to_Container_type();
  set_setting(kChanged, true);
  const bool sorted = !get_setting(kUnsorted);
  const bool in_order = gathering_ || standsInOrder();
  const bool comes_last = in_order && (count == 0 || lfcomp(elements[count - 1], value) < 0);
  if (sorted && !comes_last && getIndex(value, value_is_container) != -1) return;
  ensureRoom();
  void** const added = elements + count;
  *added = get_value_ptr(value, copy, value_is_container);
  ++count;
  if (!sorted || comes_last) return;
  if (in_order) {
    const auto comesBefore = [this](const void* a, const void* b) { return lfcomp(a, b) < 0; };
    std::rotate(std::upper_bound(elements, added, *added, comesBefore), added, added + 1);
  } else {
    sort();
  }
}

void ListFile::sort() {
  quickSort(0, count - 1);
}

void ListFile::quickSort(int lo, int hi) {
  while (lo < hi) {
    void* const pivot = elements[lo + (hi - lo) / 2];
    int i = lo;
    int j = hi;
    // The bounds matter for orders that contradict themselves, such as numbers with a NaN.
    while (i <= j) {
      while (i < hi && lfcomp(elements[i], pivot) < 0) ++i;
      while (j > lo && lfcomp(elements[j], pivot) > 0) --j;
      if (i <= j) std::swap(elements[i++], elements[j--]);
    }
    // Recursion takes the smaller side, this loop the larger: the stack stays shallow on any input.
    if (j - lo < hi - i) {
      quickSort(lo, j);
      lo = i;
    } else {
      quickSort(i, hi);
      hi = j;
    }
  }
}
