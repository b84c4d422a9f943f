#include "tests/support/sameValue.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "shared_nqserver/NQDataArray.h"

namespace test {
namespace {

NQDataKind kindOnceWritten(const NQDataValue& value, bool isInAMF3) {
  switch (value.kind()) {
    case NQDataKind::kStrictArrayType:
      return NQDataKind::kArrayType;
    case NQDataKind::kInt64Type:
      return isInAMF3 ? NQDataKind::kUndefinedType : NQDataKind::kNumberType;
    case NQDataKind::kObjectEndType:
    case NQDataKind::kUnsupportedType:
      return NQDataKind::kUndefinedType;
    default:
      return value.kind();
  }
}

/// Whether values are the same but for their members. Numbers are checked against each other bit by bit, not-a-number
/// included, and what a kind has none of is nothing in both.
bool sameContent(const NQDataValue& written, const NQDataValue& read, bool isInAMF3) {
  const auto content = [](const NQDataValue& value) {
    return std::tuple(std::bit_cast<std::uint64_t>(value.toDouble()),
                      std::bit_cast<std::uint64_t>(value.milliseconds()), value.zone(), value.isTrue(),
                      value.toString());
  };
  if (read.kind() == NQDataKind::kUndefinedType) return true;
  const bool hasSubKind =
      read.kind() == NQDataKind::kAvmPlusObjectType || (read.kind() == NQDataKind::kXMLType && isInAMF3);
  return content(written) == content(read) && std::ranges::equal(written.blob(), read.blob()) &&
         (!hasSubKind || written.subKind() == read.subKind());
}

struct Pair {
  NQDataValue written;
  NQDataValue read;
  bool isInAMF3;
};

}  // namespace

bool sameValue(const NQDataValue& written, const NQDataValue& read, bool isAMF3) {
  // Goes through two graphs side by side. A pair of arrays that was met before is not gone into again.
  std::set<std::pair<const NQDataArray*, const NQDataArray*>> met;
  std::vector<Pair> waiting = {{written, read, isAMF3}};
  while (!waiting.empty()) {
    const Pair pair = std::move(waiting.back());
    waiting.pop_back();
    const bool isInAMF3 = pair.isInAMF3 || pair.written.kind() == NQDataKind::kAvmPlusObjectType;
    if (kindOnceWritten(pair.written, isInAMF3) != pair.read.kind()) return false;
    if (!sameContent(pair.written, pair.read, isInAMF3)) return false;
    const auto *from = pair.written.array(), *to = pair.read.array();
    if (to == nullptr || !met.insert({from, to}).second) continue;
    if (from->size() != to->size()) return false;
    const bool isStrict = pair.written.kind() == NQDataKind::kStrictArrayType;
    for (std::size_t i = 0; i < to->size(); ++i) {
      if (isStrict ? !to->isNamedByIndex(i) : from->name(i) != to->name(i)) return false;
      waiting.push_back({from->value(i), to->value(i), isInAMF3});
    }
  }
  return true;
}

}  // namespace test
