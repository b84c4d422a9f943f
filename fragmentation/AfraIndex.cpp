#include "fragmentation/AfraIndex.h"

#include <algorithm>

namespace ruvo::k2r {

bool hasConsecutiveFragments(const AfraIndex& index) {
  // Modulo 2^32, as the fragmenters cut their numbers: 0 follows 0xFFFFFFFF.
  const auto& entries = index.globalEntries;
  return std::adjacent_find(entries.begin(), entries.end(), [](const AfraEntry& entry, const AfraEntry& next) {
           return next.fragment != entry.fragment + 1;
         }) == entries.end();
}

}  // namespace ruvo::k2r
