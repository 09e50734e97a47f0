#include "support/name_index.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace {

constexpr size_t kFirstBuckets = 64;

// Strangers can choose names, but not names that share a bucket, because they do not know the seed.
uint64_t seed() {
  uint64_t random = 0;
  // Without random bytes we take the time of the start.
  if (getentropy(&random, sizeof random) != 0) random = static_cast<uint64_t>(time(nullptr));
  return random;
}

}  // namespace

NameIndex::NameIndex() : buckets_(kFirstBuckets, kNone) {}

uint32_t NameIndex::hashOf(const char* name) {
  static const uint64_t start = seed();
  uint64_t hash = start;
  for (; *name != '\0'; ++name)
    hash = (hash ^ static_cast<unsigned char>(*name)) * 0x9e3779b97f4a7c15U;
  return static_cast<uint32_t>(hash >> 32);
}

void NameIndex::fillBuckets() {
  std::fill(buckets_.begin(), buckets_.end(), kNone);
  for (uint32_t i = 0; i < count(); ++i)
    links_[i].next = std::exchange(buckets_[bucketOf(links_[i].hash)], i);
}

void NameIndex::add(const char* name) {
  const uint32_t hash = hashOf(name);
  const uint32_t number = count();
  links_.push_back({std::exchange(buckets_[bucketOf(hash)], number), hash});
  if (count() < buckets_.size()) return;
  buckets_.resize(2 * buckets_.size());
  fillBuckets();
}

// What leads to the entry: its bucket, or the link of the entry before it there.
uint32_t& NameIndex::referenceTo(uint32_t number) {
  uint32_t* reference = &buckets_[bucketOf(links_[number].hash)];
  while (*reference != number) reference = &links_[*reference].next;
  return *reference;
}

void NameIndex::remove(uint32_t number) {
  const uint32_t last = count() - 1;
  referenceTo(number) = links_[number].next;
  if (number != last) {
    referenceTo(last) = number;
    links_[number] = links_[last];
  }
  links_.pop_back();
}
