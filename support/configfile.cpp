#include "support/configfile.h"

#include <algorithm>
#include <new>
#include <span>
#include <utility>

#include "support/cv_string.h"
#include "support/listfile.h"
#include "support/name_index.h"
#include "support/name_order.h"
#include "support/text_helpers.h"
#include "support/typed_value.h"

namespace {

constexpr long long kDefaultSlots = 16;
constexpr long long kLargestQuadrupled = 64;  // from this size on, growth doubles

const char* nameOf(const ParamEntry* entry) {
  return entry ? entry->name : nullptr;
}

}  // namespace

ConfigFile::ConfigFile(Logging* log, const char* filename, long long slots) : logging(log) {
  size = slots;
  allocateSlots();
  init();
  set_user(newString("nobody"));
  set_filename(filename && *filename ? newString(filename) : nullptr);
}

ConfigFile::ConfigFile(Logging* log, ConfigFile* cf) : logging(log) {
  init();
  if (!cf) {
    if (logging) logging->debug(2500, "ConfigFile::ConfigFile(ConfigFile *cf): cf=NULL.");
    size = kDefaultSlots;
    allocateSlots();
    set_user(newString("nobody"));
    return;
  }
  cf->settle();
  set_filename(newString(cf->get_filename()));
  set_permission(cf->get_permission());
  duplicate = cf->duplicate;
  multi_type = cf->multi_type;
  set_comments(newString(cf->get_comments()));
  lockit = cf->lockit;
  caller_location = copyWherePresent(cf->caller_location);
  set_user(copyWherePresent(cf->get_user()));
  set_group(copyWherePresent(cf->get_group()));
  separator = cf->separator;
  size = cf->size;
  allocateSlots();
  for (long long i = 0; i < size; ++i) {
    const ParamEntry* source = cf->params[i];
    if (!nameOf(source)) continue;
    const int type = cf->typeOf(*source);
    params[i]->name = newString(source->name);
    params[i]->value = newCopyOf(source->value, type, logging);
    params[i]->type = source->type;
    if (isOtherType(type) && type != source->type) disguised_[params[i]->value] = type;
  }
  param = cf->param;
}

ConfigFile::~ConfigFile() {
  delete_file_info();
  delString(result);
  for (long long i = 0; i < size; ++i)
    if (params[i]) releaseEntry(*params[i]);
  delete[] params;
  delString(caller_location);
}

void ConfigFile::init() {
  result = newString("");
  separator = '=';
  sep_afterseparator = 0;
  sep_after_ch = 0;
  char_case = true;
  file_info = nullptr;
  multi_type = false;
  param = 0;
  changed = false;
  no_overwrite = false;
  wait_to_sort = false;
  sort_type = 0;
  insert_read = false;
  skip_safety_check = false;
  duplicate = false;
  lockit = true;
  caller_location = nullptr;
}

// --- Slots ---

void ConfigFile::allocateSlots() {
  if (size < 0) throw std::bad_array_new_length();  // not every compiler's new[] checks that
  params = new ParamEntry*[static_cast<size_t>(size)];
  ParamEntry* const first = newRecords(size);
  for (long long i = 0; i < size; ++i) params[i] = first + i;
}

// A block of unused records, owned by the table.
ParamEntry* ConfigFile::newRecords(long long n) {
  return records_.emplace_back(new ParamEntry[static_cast<size_t>(n)]).get();
}

void ConfigFile::ensureRoom() {
  if (param < size) return;
  const long long from = size > 0 ? size : kDefaultSlots;
  const long long larger = from < kLargestQuadrupled ? 4 * from : 2 * from;
  auto** slots = new ParamEntry*[static_cast<size_t>(larger)];
  std::copy(params, params + param, slots);
  ParamEntry* const first = newRecords(larger - param);
  for (long long i = param; i < larger; ++i) slots[i] = first + (i - param);
  delete[] params;
  params = slots;
  size = larger;
}

// Leaves the record as an unused slot has it.
void ConfigFile::releaseEntry(ParamEntry& entry) {
  delString(entry.name);
  const int type = typeOf(entry);
  disguised_.erase(entry.value);
  releaseValue(entry.value, type);
  entry.type = kText;
}

// --- Values ---

// The real type of an entry's value. Without multi_type, all that can be a text is one.
int ConfigFile::typeOf(const ParamEntry& entry) const {
  const auto disguised = disguised_.find(entry.value);
  const int type = disguised == disguised_.end() ? static_cast<int>(entry.type) : disguised->second;
  return multi_type || isOtherType(type) ? type : kText;
}

// Replaces the value of an entry. The new one may be, or lie in, the one replaced.
void ConfigFile::setValue(ParamEntry& entry, const char* value, bool copy, int type) {
  char* stored = copy ? newCopyOf(value, type, logging) : const_cast<char*>(value);
  if (!stored && type == kText) stored = newString("");
  const int replaced_type = typeOf(entry);
  disguised_.erase(entry.value);
  releaseValue(entry.value, replaced_type);
  entry.value = stored;
  entry.type = multi_type || (stored && isOtherType(type)) ? type : kText;
}

// --- Lookup ---

int ConfigFile::compareNames(const char* a, const char* b) const {
  return char_case ? strcomp(a, b) : strcasecomp(a, b);
}

long long ConfigFile::bisect(const char* name, const char* value, long long lo,
                             long long hi) const {
  while (lo <= hi) {
    const long long mid = (lo + hi) / 2;
    int c = compareNames(nameOf(params[mid]), name);
    if (c == 0 && value) c = compareValues(params[mid]->value, value, typeOf(*params[mid]));
    if (c == 0) return mid;
    if (c < 0)
      lo = mid + 1;
    else
      hi = mid - 1;
  }
  return -1;
}

long long ConfigFile::findLinearly(const char* name, const char* value) const {
  for (long long i = 0; i < param; ++i) {
    if (!params[i] || compareNames(params[i]->name, name) != 0) continue;
    if (!value || (isTextType(typeOf(*params[i])) &&
                   compareValues(params[i]->value, value, typeOf(*params[i])) == 0))
      return i;
  }
  return -1;
}

long long ConfigFile::getIndex(const char* name, const char* value) {
  settle();
  if (!name) return -1;
  return wait_to_sort ? findLinearly(name, value) : bisect(name, value, 0, param - 1);
}

// As getIndex(), but also finds gathered entries, which are not sorted yet.
long long ConfigFile::find(const char* name, const char* value) {
  const bool gathered = index_ && name && !value && char_case && ordersByName();
  return gathered ? findGathered(name) : getIndex(name, value);
}

char* ConfigFile::getValue(const char* name) {
  static char cf_str[] = "ConfigFile", long_str[] = "Long Integer", lf_str[] = "ListFile";
  const long long i = find(name, nullptr);
  if (i == -1) return nullptr;
  const auto type = multi_type ? params[i]->type : kText;
  return type == kConfigFile    ? cf_str
         : type == kLongInteger ? long_str
         : type == kListFile    ? lf_str
                                : params[i]->value;
}

char* ConfigFile::getNameAt(long long i) {
  settle();
  return i != -1 && params[i] ? params[i]->name : nullptr;
}

char* ConfigFile::getValueAt(long long i) {
  settle();
  return i != -1 && params[i] ? params[i]->value : nullptr;
}

// Entries lie in memory as they were made: a walk in order of names would wait for each of them.
void ConfigFile::fetchAhead(long long i) const {
  if (i + 16 < param) __builtin_prefetch(params[i + 16]);
  if (i + 8 < param && params[i + 8]) __builtin_prefetch(params[i + 8]->name);
}

int ConfigFile::get_type_at(long long i) {
  settle();
  return multi_type && params[i] ? static_cast<int>(params[i]->type) : kText;
}

// --- Changes ---

bool ConfigFile::setParam(const char* name, const char* value, bool copy, int type,
                          bool allow_empty_name) {
  if (!name || (*name == '\0' && !allow_empty_name)) return false;
  changed = true;
  const long long found = wait_to_sort ? -1 : find(name, duplicate ? value : nullptr);
  if (found != -1) {
    if (value) setValue(*params[found], value, copy, type);
    return true;
  }
  const bool gathering = gathers();
  const bool in_order = !gathering && standsInOrder();
  ensureRoom();
  if (!params[param]) params[param] = newRecords(1);
  ParamEntry& entry = *params[param];
  delString(entry.name);  // left over if the caller has lowered `param`
  entry.name = newString(name);
  setValue(entry, value, copy, type);
  ++param;
  if (gathering) {
    index_->add(name);
  } else if (in_order) {
    ParamEntry** const last = params + param - 1;
    const auto comesBefore = [this](const char* a, const ParamEntry* b) {
      return compareNames(a, b->name) < 0;
    };
    std::rotate(std::upper_bound(params, last, name, comesBefore), last, last + 1);
  } else if (!wait_to_sort) {
    sort();
  }
  return true;
}

void ConfigFile::setParam(const char* name, int value) {
  setParam(name, Decimal(value).text, true, kText, false);
}

void ConfigFile::deleteParam(const char* name, const char* value) {
  if (!name || *name == '\0') return;
  changed = true;
  if (!value && gathers()) {
    deleteGathered(findGathered(name));
    return;
  }
  const long long i = getIndex(name, value);
  if (i == -1) return;
  const bool in_order = standsInOrder();
  releaseEntry(*params[i]);
  if (wait_to_sort)
    shift_down_from(i);
  else if (in_order)
    std::rotate(params + i, params + i + 1, params + param);
  else
    sort();
  --param;
}

void ConfigFile::deleteParams(const ListFile& names) {
  settle();
  changed = true;
  const std::span all(names.elements, static_cast<size_t>(names.count));
  const auto comesBefore = [](const void* a, const char* b) {
    return strcomp(static_cast<const char*>(a), b) < 0;
  };
  auto next = all.begin();
  long long kept = 0;
  for (long long i = 0; i < param; ++i) {
    fetchAhead(i);
    const char* const name = nameOf(params[i]);
    // Mostly both are in the same order, and `next` is already the right place.
    const bool is_place = (next == all.begin() || comesBefore(next[-1], name)) &&
                          (next == all.end() || !comesBefore(*next, name));
    if (!is_place) next = std::lower_bound(all.begin(), all.end(), name, comesBefore);
    if (name && next != all.end() && strcomp(static_cast<char*>(*next), name) == 0) {
      releaseEntry(*params[i]);
      ++next;
    } else {
      std::swap(params[kept++], params[i]);
    }
  }
  param = kept;
}

void ConfigFile::empty() {
  settle();
  changed = true;
  for (long long i = 0; i < size; ++i)
    if (nameOf(params[i])) releaseEntry(*params[i]);
  param = 0;
  delString(result);
  result = newString("");
}

// --- Order ---

// The entry in a slot against a name and value, by the order of the table.
int ConfigFile::compareInOrder(long long slot, const char* name, const char* value) const {
  const char* const own_name = nameOf(params[slot]);
  int c;
  switch (sort_type) {
    case 1:
      c = longlongcomp(own_name, name);
      break;
    case 2:
      c = strlencomp(name, own_name);
      break;
    case 3:
      c = strlencomp(own_name, name);
      break;
    default:
      c = compareNames(own_name, name);
  }
  return c == 0 && duplicate && params[slot]
             ? compareValues(params[slot]->value, value, typeOf(*params[slot]))
             : c;
}

bool ConfigFile::ordersByName() const {
  return !wait_to_sort && !duplicate && (sort_type < 1 || sort_type > 3);
}

// Whether only names decide the order, and they ascend. Callers may have changed the fields.
bool ConfigFile::standsInOrder() const {
  if (!ordersByName()) return false;
  for (long long i = 0; i < param; ++i) {
    fetchAhead(i);
    if (!nameOf(params[i])) return false;
    if (i > 0 && compareNames(params[i - 1]->name, params[i]->name) >= 0) return false;
  }
  return true;
}

void ConfigFile::sort() {
  quickSort(0, param - 1);
}

void ConfigFile::quickSort(long long lo, long long hi) {
  settle();
  while (lo < hi) {
    const ParamEntry* const pivot = params[(lo + hi) / 2];
    const char* const name = nameOf(pivot);
    const char* const value = pivot ? pivot->value : nullptr;
    long long i = lo, j = hi;
    // The bounds matter for orders that contradict themselves, such as texts without a number.
    while (i <= j) {
      while (i < hi && compareInOrder(i, name, value) < 0) ++i;
      while (j > lo && compareInOrder(j, name, value) > 0) --j;
      if (i <= j) std::swap(params[i++], params[j--]);
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

bool ConfigFile::move_params(long long from, long long to) {
  settle();
  const char* const refusal = from == to              ? "from matches to"
                              : nameOf(params[to])    ? "to already exists"
                              : !nameOf(params[from]) ? "from does not exists"
                                                      : nullptr;
  if (refusal) {
    if (logging)
      logging->debug(10, "ConfigFile::move_params:from=%lld to=%lld: %s: ABORT", from, to, refusal);
    return false;
  }
  if (!params[to]) params[to] = newRecords(1);
  ParamEntry& source = *params[from];
  ParamEntry& target = *params[to];
  const int type = typeOf(source);
  target.name = std::exchange(source.name, nullptr);
  target.value = std::exchange(source.value, nullptr);
  // A moved entry passes for a text, and its old slot keeps its type: callers rely on both.
  // To compare and release the value we keep its real type.
  target.type = kText;
  if (target.value && !isTextType(type)) disguised_[target.value] = type;
  if (!multi_type) source.type = kText;
  return true;
}

void ConfigFile::shift_down_from(long long i) {
  settle();
  if (nameOf(params[i])) return;
  for (long long from = i + 1; from < size; ++from)
    if (nameOf(params[from]) && move_params(from, i)) ++i;
}

// --- Gathering ---

void ConfigFile::gather(bool on) {
  settle();
  gathering_ = on;
}

// Whether this change can be gathered: sorting can wait where names alone decide the order.
bool ConfigFile::gathers() {
  if (!char_case || !ordersByName())
    settle();
  else if (gathering_ && !index_ && standsInOrder())
    indexFrom(param);
  return index_ != nullptr;
}

// From now on the entries from this slot on are not sorted, but found by the index.
void ConfigFile::indexFrom(long long slot) {
  index_ = std::make_unique<NameIndex>();
  settled_ = slot;
  searches_ = 0;
  for (; slot < param; ++slot) index_->add(params[slot]->name);
}

long long ConfigFile::findGathered(const char* name) {
  // Many searches among the sorted entries cost more than an index of them.
  if (settled_ > 0 && ++searches_ > settled_ / 8) indexFrom(0);
  const long long slot = bisect(name, nullptr, 0, settled_ - 1);
  if (slot != -1) return slot;
  const auto nameAt = [this](uint32_t i) { return params[settled_ + i]->name; };
  const long long i = index_->find(name, nameAt);
  return i == -1 ? -1 : settled_ + i;
}

// Removes the entry in this slot, unless it is -1. The last entry takes its place.
void ConfigFile::deleteGathered(long long slot) {
  if (slot == -1) return;
  if (slot < settled_) indexFrom(0);
  index_->remove(static_cast<uint32_t>(slot - settled_));
  releaseEntry(*params[slot]);
  std::swap(params[slot], params[--param]);
}

// Restores the order: sorts the entries that are not sorted yet, and merges them with the others.
void ConfigFile::settle() {
  if (!index_) return;
  index_.reset();
  sortByName(params + settled_, params + param);
  mergeByName(params, params + settled_, params + param);
}

// --- File attributes ---

void ConfigFile::delete_file_info() {
  if (file_info) file_info->releaseTexts();
  delete file_info;
  file_info = nullptr;
}
