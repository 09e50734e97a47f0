#include "support/name_order.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/configfile.h"
#include "support/cv_string.h"

namespace {

// The first 16 bytes of a name as numbers. They order as strcomp() orders these bytes, which are
// all of an IPv4 address. An empty name comes last.
using Lead = std::array<uint64_t, 2>;

Lead leadOf(const char* name) {
  if (*name == '\0') return {UINT64_MAX, UINT64_MAX};
  Lead lead = {};
  for (uint64_t& number : lead) {
    for (size_t i = 0; i < sizeof number; ++i) {
      number <<= 8;
      // Characters are signed. The end of a name counts as the smallest.
      if (*name != '\0') number |= static_cast<unsigned char>(*name++) ^ 0x80U;
    }
  }
  return lead;
}

// The leads stand side by side, so that most comparisons need not fetch a name.
struct Led {
  Lead lead;
  ParamEntry* entry;

  bool operator<(const Led& other) const {
    return lead != other.lead ? lead < other.lead : strcomp(entry->name, other.entry->name) < 0;
  }
};

}  // namespace

namespace cv {

void sortByName(ParamEntry** first, ParamEntry** last) {
  std::vector<Led> leads;
  leads.reserve(static_cast<size_t>(last - first));
  for (ParamEntry** entry = first; entry != last; ++entry)
    leads.push_back({leadOf((*entry)->name), *entry});
  std::sort(leads.begin(), leads.end());
  for (const Led& each : leads) *first++ = each.entry;
}

void mergeByName(ParamEntry** first, ParamEntry** middle, ParamEntry** last) {
  const std::vector<ParamEntry*> added(middle, last);
  const auto comesBefore = [](const char* a, const ParamEntry* b) {
    return strcomp(a, b->name) < 0;
  };
  // From the back, so that each entry moves once. The place is searched in growing steps, since it
  // is mostly near the one before.
  for (auto entry = added.rbegin(); entry != added.rend(); ++entry) {
    const char* const name = (*entry)->name;
    ptrdiff_t step = 1;
    ParamEntry** behind = middle;  // these come behind the name
    for (; behind - first >= step && comesBefore(name, behind[-step]); step *= 2) behind -= step;
    ParamEntry** const before = behind - std::min(step, behind - first);
    ParamEntry** const place = std::upper_bound(before, behind, name, comesBefore);
    last = std::move_backward(place, middle, last);
    *--last = *entry;
    middle = place;
  }
}

}  // namespace cv
