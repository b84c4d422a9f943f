#pragma once

#include <cstddef>
#include <span>

namespace krvo::encryption {

/// Whether an audio sample is an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1) in one of the two forms that streams
/// have: two bytes of a plain AAC object type, or these and three bytes that announce spectral band replication. Judged
/// by the bytes, since the library is not told the packet type. A frame of AAC is longer or begins with other bits, so
/// none is taken for a configuration; a longer configuration is taken for a frame, and encrypted. Throws nothing.
bool isAacConfiguration(std::span<const std::byte> sample);

}  // namespace krvo::encryption
