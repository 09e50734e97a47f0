#include "support/configfile.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "support/cv_string.h"
#include "support/listfile.h"
#include "support/logging.h"
#include "support/text_helpers.h"

namespace {

constexpr long long kDefaultSlots = 16;
constexpr long long kLargestQuadrupled = 64;  // from this size on, growth doubles

// How many entries may wait before they are merged with the others. Inserting moves half as many
// pointers as wait, merging moves all of the table's: at this number both stay small up to a
// million entries.
constexpr long long kMostRecent = 512;

// The first eight bytes of a name as a number that orders as strcomp() does, as far as it goes: of
// two names with different leads the one with the larger comes first. They stand side by side, so
// that a search in a large table seldom has to fetch an entry. No name and an empty one have 0 and
// come last.
unsigned long leadOf(const char* name) {
  if (!name || *name == '\0') return 0;
  unsigned long lead = 0;
  for (size_t i = 0; i < sizeof lead; ++i) {
    lead <<= 8;
    // Signed order, as strcomp's. The end of a name counts as the smallest character.
    if (*name != '\0') lead |= static_cast<unsigned char>(*name++) ^ 0x80U;
  }
  return ~lead;
}

bool isText(int type) {
  return type == kTextValue || type == kNumberTextValue || type == kJsonValue;
}

void releaseValue(ParamEntry& entry) {
  if (entry.value == entry.short_value)
    ;  // stands in the record
  else if (isText(entry.ownedAs()))
    delString(entry.value);
  else if (entry.ownedAs() == kConfigFileValue)
    delete reinterpret_cast<ConfigFile*>(entry.value);
  else if (entry.ownedAs() == kListFileValue)
    delete reinterpret_cast<ListFile*>(entry.value);
  entry.value = nullptr;
}

int compareValues(const ParamEntry& entry, int type, const char* value) {
  if (type == kNumberTextValue) return intcomp(entry.value, value);
  if (isText(type)) return strcomp(entry.value, value);
  const auto a = reinterpret_cast<uintptr_t>(entry.value);
  const auto b = reinterpret_cast<uintptr_t>(value);
  return a < b ? -1 : a > b ? 1 : 0;
}

}  // namespace

// A name and its lead, worked out once for the many comparisons of a search.
struct ConfigFile::Name {
  const char* text;
  unsigned long lead;
};

// Where an entry stands; while gathering also where one that does not exist would.
struct ConfigFile::Place {
  long long slot;
  bool exists;
};

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
    const ParamEntry& source = *cf->params[i];
    if (!source.name) continue;
    setName(i, cf->nameAt(i));
    setValue(*params[i], source.value, true, source.ownedAs());
    if (multi_type) params[i]->type_code = source.type_code;
  }
  param = settled_ = cf->param;
  sorted_ = !cf->wait_to_sort && cf->inOrder();
  sorted_by_ = cf->sorted_by_;
}

ConfigFile::~ConfigFile() {
  delete_file_info();
  delString(result);
  for (long long i = 0; i < size; ++i) releaseEntry(i);
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
  sorted_ = true;
  sorted_by_ = currentOrder();
  gathering_ = false;
  settled_ = 0;
}

void ConfigFile::allocateSlots() {
  if (size < 0) throw std::bad_array_new_length();  // not every compiler's new[] sees to it
  params = new ParamEntry*[static_cast<size_t>(size)];
  fillSlots(params, 0, size);
  leads_.resize(static_cast<size_t>(size));
}

// Gives the slots from .. to - 1 fresh records of one block.
void ConfigFile::fillSlots(ParamEntry** slots, long long from, long long to) {
  auto* record =
      static_cast<ParamEntry*>(calloc(static_cast<size_t>(to - from), sizeof(ParamEntry)));
  if (!record && to > from) throw std::bad_alloc();
  records_.emplace_back(record);
  for (long long i = from; i < to; ++i) slots[i] = record++;
}

// --- Lookup ---

ConfigFile::Name ConfigFile::nameAt(long long slot) const {
  return {params[slot]->name, leads_[static_cast<size_t>(slot)]};
}

// The type by which the value of an entry counts; a text is only what really is one.
int ConfigFile::typeOf(const ParamEntry& entry) const {
  if (!isText(entry.ownedAs())) return entry.ownedAs();
  return multi_type ? kTextValue + entry.type_code : kTextValue;
}

int ConfigFile::compareNames(long long slot, const Name& name, bool by_case) const {
  if (!by_case) return strcasecomp(params[slot]->name, name.text);
  const unsigned long lead = leads_[static_cast<size_t>(slot)];
  if (lead != name.lead) return lead > name.lead ? -1 : 1;
  return strcomp(params[slot]->name, name.text);
}

long long ConfigFile::bisect(const Name& name, const char* value, long long lo,
                             long long hi) const {
  while (lo <= hi) {
    const long long mid = (lo + hi) / 2;
    int c = compareNames(mid, name, char_case);
    if (c == 0 && value) c = compareValues(*params[mid], typeOf(*params[mid]), value);
    if (c == 0) return mid;
    if (c < 0)
      lo = mid + 1;
    else
      hi = mid - 1;
  }
  return -1;
}

long long ConfigFile::findLinearly(const Name& name, const char* value) const {
  for (long long i = 0; i < param; ++i) {
    const ParamEntry& entry = *params[i];
    if (!entry.name || compareNames(i, name, char_case) != 0) continue;
    const int type = typeOf(entry);
    if (!value || (isText(type) && compareValues(entry, type, value) == 0)) return i;
  }
  return -1;
}

// The first entry of a run in the order of strcomp, lo .. hi - 1, whose name is this one or comes
// behind it; hi if there is none.
long long ConfigFile::firstNotBefore(const Name& name, long long lo, long long hi) const {
  // By a mask, not by a branch, which would be mispredicted at every other step.
  const unsigned long* const leads = leads_.data();
  const unsigned long* first = leads + lo;
  for (auto left = static_cast<size_t>(hi - lo); left > 0;) {
    const size_t half = (left + 1) / 2;
    const bool comes_before = first[half - 1] > name.lead;
    first += half & (size_t{0} - comes_before);
    left -= half;
  }
  // Those with the same lead: a few, or as many as "192.168.x.y" has.
  lo = first - leads;
  long long end = lo;
  for (long long step = 1; end < hi && leads[end] == name.lead; step *= 2)
    end = std::min(hi, end + step);
  return firstBehind(lo, end, [&](long long slot) { return compareNames(slot, name, true) >= 0; });
}

ConfigFile::Place ConfigFile::findGathering(const Name& name) const {
  const long long slot = firstNotBefore(name, 0, settled_);
  if (slot < settled_ && compareNames(slot, name, true) == 0) return {slot, true};
  const long long recent = firstNotBefore(name, settled_, param);
  return {recent, recent < param && compareNames(recent, name, true) == 0};
}

// A null value matches any. The next insertion may move an entry that was found while gathering.
ConfigFile::Place ConfigFile::find(const Name& name, const char* value) {
  if (mayGather() && !value) return findGathering(name);
  settle();
  if (!name.text) return {-1, false};
  const long long i = wait_to_sort ? findLinearly(name, value) : bisect(name, value, 0, param - 1);
  return {i, i != -1};
}

long long ConfigFile::getIndex(const char* name, const char* value) {
  settle();
  const Place found = find({name, leadOf(name)}, value);
  return found.exists ? found.slot : -1;
}

char* ConfigFile::getValue(const char* name) {
  static char cf_str[] = "ConfigFile";
  static char long_str[] = "Long Integer";
  static char lf_str[] = "ListFile";
  const Place found = find({name, leadOf(name)}, nullptr);
  if (!found.exists) return nullptr;
  const ParamEntry& entry = *params[found.slot];
  switch (multi_type ? kTextValue + entry.type_code : kTextValue) {
    case kConfigFileValue:
      return cf_str;
    case kLongIntegerValue:
      return long_str;
    case kListFileValue:
      return lf_str;
    default:
      return entry.value;
  }
}

char* ConfigFile::getNameAt(long long i) {
  settle();
  return i == -1 ? nullptr : params[i]->name;
}

char* ConfigFile::getValueAt(long long i) {
  settle();
  return i == -1 ? nullptr : params[i]->value;
}

int ConfigFile::get_type_at(long long i) {
  settle();
  return multi_type ? kTextValue + params[i]->type_code : kTextValue;
}

// --- Changes ---

// Puts a copy of the name into a slot that has none.
void ConfigFile::setName(long long slot, const Name& name) {
  ParamEntry& entry = *params[slot];
  const size_t length = strlen(name.text);
  entry.name = length < sizeof entry.short_name ? entry.short_name : new char[length + 1];
  memcpy(entry.name, name.text, length + 1);
  leads_[static_cast<size_t>(slot)] = name.lead;
}

void ConfigFile::releaseName(long long slot) {
  ParamEntry& entry = *params[slot];
  if (entry.name != entry.short_name) delString(entry.name);
  entry.name = nullptr;
  leads_[static_cast<size_t>(slot)] = leadOf(nullptr);
}

// Leaves the record as an unused slot has it. Its type is reset only where it has a meaning.
void ConfigFile::releaseEntry(long long slot) {
  ParamEntry& entry = *params[slot];
  releaseName(slot);
  releaseValue(entry);
  entry.owned_code = 0;
  if (multi_type) entry.type_code = 0;
}

// The pointer to store: a deep copy, or the caller's own. Null for a kind that cannot be copied.
char* ConfigFile::newValue(const char* value, bool copy, int type) {
  char* given = const_cast<char*>(value);
  if (!copy) return given;
  if (isText(type)) return newString(value);
  if (type == kConfigFileValue)
    return reinterpret_cast<char*>(new ConfigFile(logging, reinterpret_cast<ConfigFile*>(given)));
  if (type == kListFileValue)
    return reinterpret_cast<char*>(new ListFile(logging, reinterpret_cast<ListFile*>(given)));
  return nullptr;
}

// Replaces the value of an entry. The new one may be, or lie in, the one replaced.
void ConfigFile::setValue(ParamEntry& entry, const char* value, bool copy, int type) {
  const size_t length = copy && isText(type) && value ? strlen(value) : SIZE_MAX;
  if (length < sizeof entry.short_value) {
    char text[sizeof entry.short_value];
    memcpy(text, value, length + 1);
    releaseValue(entry);
    entry.value = static_cast<char*>(memcpy(entry.short_value, text, length + 1));
  } else {
    char* stored = newValue(value, copy, type);
    if (!stored && type == kTextValue) stored = newString("");
    releaseValue(entry);
    entry.value = stored;
  }
  entry.owned_code = type - kTextValue;
}

bool ConfigFile::setParam(const char* name, const char* value, bool copy, int type,
                          bool allow_empty_name) {
  if (!name || (*name == '\0' && !allow_empty_name)) return false;
  changed = true;
  if (!mayGather()) settle();
  const Name sought = {name, leadOf(name)};
  const Place found =
      wait_to_sort ? Place{param, false} : find(sought, duplicate ? value : nullptr);
  if (found.exists && !value) return true;

  if (!found.exists) {
    ensureRoom();
    setName(param++, sought);
  }
  ParamEntry& entry = *params[found.exists ? found.slot : param - 1];
  // In a plain table an adopted value of no known type is a text like all others.
  const bool known = type >= kTextValue && type <= kJsonValue;
  setValue(entry, value, copy, known || multi_type || copy ? type : kTextValue);
  if (multi_type) entry.type_code = type - kTextValue;
  if (!found.exists) placeLast(found.slot);
  return true;
}

void ConfigFile::setParam(const char* name, int value) {
  setParam(name, Decimal(value).text, true, kTextValue, false);
}

void ConfigFile::deleteParam(const char* name, const char* value) {
  if (!name || *name == '\0') return;
  changed = true;
  const Place found = find({name, leadOf(name)}, value);
  if (!found.exists) return;
  releaseEntry(found.slot);
  if (wait_to_sort)
    shift_down_from(found.slot);
  else
    closeGap(found.slot);
  --param;
  if (!mayGather()) settled_ = param;
  if (!wait_to_sort && !inOrder()) sort();
}

// Moves the emptied record at i behind all entries in use.
void ConfigFile::closeGap(long long i) {
  rotateSlots(i, i + 1, param);
  if (i < settled_) --settled_;
}

void ConfigFile::deleteParams(const ListFile& names) {
  settle();
  changed = true;
  long long kept = 0;
  int next = 0;
  for (long long i = 0; i < param; ++i) {
    int c = 1;
    while (next < names.count &&
           (c = strcomp(static_cast<char*>(names.elements[next]), params[i]->name)) < 0)
      ++next;
    if (c == 0) {
      releaseEntry(i);
    } else {
      swapSlots(kept, i);
      ++kept;
    }
  }
  param = settled_ = kept;
  if (!wait_to_sort && !inOrder()) sort();
}

void ConfigFile::empty() {
  changed = true;
  for (long long i = 0; i < size; ++i)
    if (params[i]->name) releaseEntry(i);
  param = settled_ = 0;
  sorted_ = true;
  sorted_by_ = currentOrder();
  delString(result);
  result = newString("");
}

void ConfigFile::ensureRoom() {
  if (param < size) return;
  const long long from = size > 0 ? size : kDefaultSlots;
  const long long larger = from < kLargestQuadrupled ? 4 * from : 2 * from;
  auto** slots = new ParamEntry*[static_cast<size_t>(larger)];
  std::copy(params, params + param, slots);
  fillSlots(slots, param, larger);
  delete[] params;
  params = slots;
  size = larger;
  leads_.resize(static_cast<size_t>(size));
}

// --- Order ---

// The entry in a slot against a name and value, by the order of the table.
int ConfigFile::compareInOrder(long long slot, const Name& name, const char* value) const {
  const ParamEntry& entry = *params[slot];
  int c;
  switch (sort_type) {
    case 1:
      c = longlongcomp(entry.name, name.text);
      break;
    case 2:
      c = strlencomp(name.text, entry.name);
      break;
    case 3:
      c = strlencomp(entry.name, name.text);
      break;
    default:
      c = compareNames(slot, name, char_case);
  }
  return c == 0 && duplicate ? compareValues(entry, typeOf(entry), value) : c;
}

// The first slot in lo .. hi - 1 of which `comes_behind` is true, as it then is of all after it; hi
// if of none.
template <typename Predicate>
long long ConfigFile::firstBehind(long long lo, long long hi, Predicate comes_behind) {
  while (lo < hi) {
    const long long mid = (lo + hi) / 2;
    if (comes_behind(mid))
      hi = mid;
    else
      lo = mid + 1;
  }
  return lo;
}

void ConfigFile::swapSlots(long long a, long long b) {
  std::swap(params[a], params[b]);
  std::swap(leads_[static_cast<size_t>(a)], leads_[static_cast<size_t>(b)]);
}

// As std::rotate().
void ConfigFile::rotateSlots(long long first, long long middle, long long end) {
  const auto leads = leads_.begin();
  std::rotate(params + first, params + middle, params + end);
  std::rotate(leads + first, leads + middle, leads + end);
}

// The last entry has just been appended: moves it to its place, which is known while gathering.
void ConfigFile::placeLast(long long place) {
  if (wait_to_sort) {
    sorted_ = false;
    settled_ = param;
  } else if (!inOrder()) {
    sort();
  } else {
    const long long last = param - 1;
    const bool waits = mayGather();
    if (!waits) {
      const Name name = nameAt(last);
      const char* value = params[last]->value;
      place = firstBehind(0, last,
                          [&](long long slot) { return compareInOrder(slot, name, value) > 0; });
      settled_ = param;
    }
    rotateSlots(place, last, param);
    if (waits && param - settled_ > kMostRecent) settle();
  }
}

// Merges the recent run with the entries before it, from the back, so that each of these moves
// once. The settings may have changed meanwhile: the order is that in which all of them stand.
void ConfigFile::settle() {
  if (settled_ == param) return;
  const auto leads = leads_.begin();
  const std::vector<ParamEntry*> recent(params + settled_, params + param);
  const std::vector<unsigned long> recent_leads(leads + settled_, leads + param);
  long long end = param;
  long long settled = settled_;
  for (size_t i = recent.size(); i-- > 0;) {
    const Name name = {recent[i]->name, recent_leads[i]};
    const long long place = firstNotBefore(name, 0, settled);
    std::move_backward(params + place, params + settled, params + end);
    std::move_backward(leads + place, leads + settled, leads + end);
    end -= settled - place + 1;
    params[end] = recent[i];
    leads[end] = name.lead;
    settled = place;
  }
  settled_ = param;
}

void ConfigFile::gather(bool on) {
  settle();
  gathering_ = on;
}

void ConfigFile::sort() {
  settle();
  quickSort(0, param - 1);
  sorted_ = true;
  sorted_by_ = currentOrder();
  settled_ = param;
}

void ConfigFile::quickSort(long long lo, long long hi) {
  settle();
  sorted_ = inOrder();
  while (lo < hi) {
    const Name pivot = nameAt((lo + hi) / 2);
    const char* value = params[(lo + hi) / 2]->value;
    long long i = lo;
    long long j = hi;
    // The bounds matter for orders that contradict themselves, as that of texts without a number.
    while (i <= j) {
      while (i < hi && compareInOrder(i, pivot, value) < 0) ++i;
      while (j > lo && compareInOrder(j, pivot, value) > 0) --j;
      if (i <= j) swapSlots(i++, j--);
    }
    // The smaller side by recursion, the larger here: the stack stays shallow on any input.
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
  const char* refusal = nullptr;
  if (from == to)
    refusal = "from matches to";
  else if (params[to]->name)
    refusal = "to already exists";
  else if (!params[from]->name)
    refusal = "from does not exists";
  if (refusal) {
    if (logging)
      logging->debug(10, "ConfigFile::move_params:from=%lld to=%lld: %s: ABORT", from, to, refusal);
    return false;
  }
  ParamEntry& source = *params[from];
  ParamEntry& target = *params[to];
  setName(to, nameAt(from));
  target.value = source.value;
  if (source.value == source.short_value) {
    memcpy(target.short_value, source.short_value, sizeof target.short_value);
    target.value = target.short_value;
  }
  target.owned_code = source.owned_code;
  // An entry that moves is a text from then on, and its old slot keeps the code: so it has always
  // been. What the value really is stays known to owned_code.
  if (multi_type) target.type_code = 0;
  releaseName(from);
  source.value = nullptr;
  source.owned_code = 0;
  sorted_ = false;
  return true;
}

void ConfigFile::shift_down_from(long long i) {
  settle();
  if (params[i]->name) return;
  for (long long from = i + 1; from < size; ++from)
    if (params[from]->name && move_params(from, i)) ++i;
}

// --- File attributes ---

void ConfigFile::init_file_info() {
  *file_info = {};
  file_info->use_defaults = true;
  file_info->file_separator = '=';
}

void ConfigFile::ensure_file_info() {
  if (file_info) return;
  file_info = new FileInfo;
  init_file_info();
}

void ConfigFile::delete_file_info() {
  if (!file_info) return;
  delString(file_info->filename, file_info->comments);
  delString(file_info->user, file_info->group);
  delete file_info;
  file_info = nullptr;
}

void ConfigFile::set_filename(char* adopted) {
  ensure_file_info();
  file_info->filename = adopted;
}

void ConfigFile::set_user(char* adopted) {
  ensure_file_info();
  file_info->user = adopted;
}

void ConfigFile::set_group(char* adopted) {
  ensure_file_info();
  file_info->group = adopted;
}

void ConfigFile::set_comments(char* adopted) {
  ensure_file_info();
  file_info->comments = adopted;
}

void ConfigFile::set_permission(unsigned int permission) {
  ensure_file_info();
  file_info->permission = permission;
}
