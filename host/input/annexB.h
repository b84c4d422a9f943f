#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "util/bytes.h"

namespace host {

/// A view of one NAL unit, without start code or length. Never empty.
using NalUnit = std::span<const std::byte>;

/// The NAL units of a byte stream (ITU-T H.264, Annex B), without the zero bytes that trail them. What stands before
/// the first start code is passed over.
std::vector<NalUnit> splitAnnexB(std::span<const std::byte> stream);

/// `nal_unit_type` (ITU-T H.264, 7.4.1).
enum class NalType : unsigned { kSequenceParameterSet = 7, kPictureParameterSet = 8, kAccessUnitDelimiter = 9 };
inline NalType nalType(NalUnit unit) {
  return static_cast<NalType>(std::to_integer<unsigned>(unit[0]) & 31);
}

/// Appends the NAL units of a byte stream, each behind its length in 4 bytes.
void writeLengthPrefixed(qvs::util::ByteWriter& out, std::span<const std::byte> stream);

}  // namespace host
