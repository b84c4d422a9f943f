#pragma once

#include <cstdint>

#include "util/bytes.h"

namespace qvs::util {

/// How an AMF0 value begins, of the kinds that descriptions are made of.
enum class ScriptMarker : std::uint8_t {
  kNumber = 0,
  kFlag = 1,
  kText = 2,
  kObject = 3,
  kNull = 5,
  kUndefined = 6,
  kNamedArray = 8,
  kObjectEnd = 9,
  kStrictArray = 10,
  kDate = 11,
  kLongText = 12,
};

/// Passes over one AMF0 value of these kinds. Throws MalformedInput for another kind, one that ends early, and values
/// more than a few deep in one another.
void skipScriptValue(ByteReader& in);

}  // namespace qvs::util
