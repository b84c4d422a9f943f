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

/// Whether values are the same but for their members. Numbers are held against each other bit by bit, not-a-number
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

/// Goes through two graphs side by side. A pair of arrays that was met before is not gone into again.
class Comparison {
 public:
  bool holds(const NQDataValue& written, const NQDataValue& read, bool isAMF3) {
    compare(written, read, isAMF3);
    while (isSame_ && !waiting_.empty()) {
      const Pair next = waiting_.back();
      waiting_.pop_back();
      members(next);
    }
    return isSame_;
  }

 private:
  struct Pair {
    const NQDataArray* written;
    const NQDataArray* read;
    bool isStrict;
    bool isInAMF3;
  };

  void members(const Pair& pair) {
    isSame_ = isSame_ && pair.written->size() == pair.read->size();
    for (std::size_t i = 0; isSame_ && i < pair.written->size(); ++i) {
      isSame_ =
          pair.isStrict ? pair.read->name(i).view() == std::to_string(i) : pair.written->name(i) == pair.read->name(i);
      compare(pair.written->value(i), pair.read->value(i), pair.isInAMF3);
    }
  }

  void compare(const NQDataValue& written, const NQDataValue& read, bool isInAMF3) {
    isInAMF3 = isInAMF3 || written.kind() == NQDataKind::kAvmPlusObjectType;
    isSame_ = isSame_ && kindOnceWritten(written, isInAMF3) == read.kind() && sameContent(written, read, isInAMF3);
    if (!isSame_ || read.array() == nullptr) return;
    if (met_.insert({written.array(), read.array()}).second)
      waiting_.push_back({written.array(), read.array(), written.kind() == NQDataKind::kStrictArrayType, isInAMF3});
  }

  bool isSame_ = true;
  std::vector<Pair> waiting_;
  std::set<std::pair<const NQDataArray*, const NQDataArray*>> met_;
};

}  // namespace

bool sameValue(const NQDataValue& written, const NQDataValue& read, bool isAMF3) {
  return Comparison().holds(written, read, isAMF3);
}

}  // namespace test
