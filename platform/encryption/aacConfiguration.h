#pragma once

#include <cstddef>
#include <span>

namespace krvo::encryption {

/// Whether an audio sample is an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1) of the two forms that streams carry:
/// two bytes of a plain AAC object type, or these and the three bytes that announce spectral band replication. A frame
/// of AAC is longer, or begins otherwise.
bool isAacConfiguration(std::span<const std::byte> sample);

}  // namespace krvo::encryption
