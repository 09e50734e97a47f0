#include "support/name_order.h"

#include <algorithm>
#include <array>
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

}  // namespace cv
