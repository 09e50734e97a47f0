// Finds entries that are not in order, by the hashes of their names.
//
// Entries are numbered from 0 on, without gaps. The index keeps numbers and hashes, but no names: a
// call that compares names is given a function that returns them.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace cv {

class NameIndex {
 public:
  NameIndex();

  uint32_t count() const { return static_cast<uint32_t>(links_.size()); }

  // Adds the next entry, number count().
  void add(const char* name);

  // Removes an entry. The last entry takes over its number.
  void remove(uint32_t number);

  // The number of the entry of this name, or -1. nameAt(number) must return the name of an entry.
  template <typename NameAt>
  long long find(const char* name, NameAt nameAt) const {
    const uint32_t hash = hashOf(name);
    for (uint32_t i = buckets_[bucketOf(hash)]; i != kNone; i = links_[i].next)
      if (links_[i].hash == hash && strcmp(nameAt(i), name) == 0) return i;
    return -1;
  }

 private:
  static constexpr uint32_t kNone = UINT32_MAX;

  struct Link {
    uint32_t next;  // entry in the same bucket
    uint32_t hash;
  };

  static uint32_t hashOf(const char* name);
  size_t bucketOf(uint32_t hash) const { return hash & (buckets_.size() - 1); }
  void fillBuckets();
  uint32_t& referenceTo(uint32_t number);

  std::vector<Link> links_;        // of each entry
  std::vector<uint32_t> buckets_;  // the first entry of each; their number is a power of two
};

}  // namespace cv

using namespace cv;
