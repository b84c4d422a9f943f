#include "fragmentation/AfraIndex.h"

#include <algorithm>

namespace ruvo::k2r {

bool hasConsecutiveFragments(const AfraIndex& index, std::size_t known) {
  // Modulo 2^32, as the fragmenters cut their numbers: 0 follows 0xFFFFFFFF.
  const auto& entries = index.globalEntries;
  const auto first = entries.begin() + static_cast<std::ptrdiff_t>(known == 0 ? 0 : known - 1);
  return std::adjacent_find(first, entries.end(), [](const AfraEntry& entry, const AfraEntry& next) {
           return next.fragment != entry.fragment + 1;
         }) == entries.end();
}

}  // namespace ruvo::k2r
