#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "util/bytes.h"

// Values in DER (ITU-T X.690): a tag of one byte, a length, the content.

namespace krvo::encryption {

enum class DerTag : std::uint8_t {
  kInteger = 0x02,
  kOctetString = 0x04,
  kIa5String = 0x16,
  kSequence = 0x30,
};

/// Appends one value. Throws std::out_of_range from 2^31 bytes of content on.
void writeDer(qvs::util::ByteWriter& out, DerTag tag, std::span<const std::byte> content);

/// Reads one value of the tag and returns its content, a view. Throws qvs::util::MalformedInput for another tag, a
/// length that is not in its shortest form, and one beyond the input.
std::span<const std::byte> readDer(qvs::util::ByteReader& in, DerTag tag);

/// Reads one value of the tag and returns it whole, with tag and length.
std::span<const std::byte> readWholeDer(qvs::util::ByteReader& in, std::span<const std::byte> input, DerTag tag);

}  // namespace krvo::encryption
