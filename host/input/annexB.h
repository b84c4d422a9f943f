#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "util/bytes.h"

namespace host {

/// A view of one NAL unit, without start code or length. Not empty.
using NalUnit = std::span<const std::byte>;

/// Returns views of the NAL units of a byte stream (ITU-T H.264, Annex B), without zero bytes at their ends. Bytes
/// before the first start code are ignored.
std::vector<NalUnit> splitAnnexB(std::span<const std::byte> stream);

/// `nal_unit_type` (ITU-T H.264, 7.4.1); only the types that matter here.
enum class NalType : unsigned {
  kSlice = 1,
  kIdrSlice = 5,
  kEnhancement = 6,
  kSequenceParameterSet = 7,
  kPictureParameterSet = 8,
  kAccessUnitDelimiter = 9
};
/// The low five bits of the first byte. Other types give values without a name.
inline NalType nalType(NalUnit unit) {
  return static_cast<NalType>(std::to_integer<unsigned>(unit[0]) & 31);
}

/// Appends the NAL units of a byte stream, each after its length in 4 bytes. Throws std::out_of_range for one of 2^32
/// bytes or more.
void writeLengthPrefixed(qvs::util::ByteWriter& out, std::span<const std::byte> stream);

}  // namespace host
