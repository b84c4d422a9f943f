#pragma once

#include <cstddef>
#include <cstdint>

namespace qvs::util {

// The fixed parts of a stored media tag: 11 header bytes, the data, a back pointer. All numbers are big-endian.
// Timestamps are in milliseconds; their high byte comes after the low three. Functions that take a header access its 11
// bytes without a check.
//
//     0  u8   type; bit 0x20 marks protected data     7  u8   timestamp, high 8 bits
//     1  u24  size of the data                         8  u24  stream id
//     4  u24  timestamp, low 24 bits                  11       data, then u32 back pointer: data size + 11

// The kinds of tags, as the type byte gives them under kTagTypeMask.
inline constexpr std::uint8_t kAudioTag = 8;
inline constexpr std::uint8_t kVideoTag = 9;
inline constexpr std::uint8_t kAmf3DataTag = 15;
inline constexpr std::uint8_t kAmf0DataTag = 18;

inline constexpr std::size_t kTagHeaderSize = 11;
inline constexpr std::size_t kTagBackPointerSize = 4;
/// Bytes of a tag without its data.
inline constexpr std::size_t kTagOverhead = kTagHeaderSize + kTagBackPointerSize;
/// The data size field has 24 bits, which limits every message that can be stored.
inline constexpr std::uint32_t kMaxTagDataSize = 0xFFFFFF;
/// Mask for the type byte: removes the protection bit 0x20 and the reserved bit 0x80.
inline constexpr std::uint8_t kTagTypeMask = 0x5F;
/// Bit of the type byte: the data is encrypted or has the header of protected data.
inline constexpr std::uint8_t kTagProtectedBit = 0x20;

/// Writes the 11 bytes at `header`, the stream id as 0. Of `dataSize` the low 24 bits are stored.
void writeTagHeader(std::byte* header, std::uint8_t type, std::uint32_t dataSize, std::uint32_t timestamp);
/// Writes the 4 bytes at `at`: data size + 11, the distance back to the start of the tag.
void writeTagBackPointer(std::byte* at, std::uint32_t dataSize);
/// The low 24 bits of `dataSize`.
void setTagDataSize(std::byte* header, std::uint32_t dataSize);
/// All 32 bits, in two places.
void setTagTimestamp(std::byte* header, std::uint32_t timestamp);
/// The low 24 bits of `streamId`.
void setTagStreamId(std::byte* header, std::uint32_t streamId);
/// Up to kMaxTagDataSize. It may be wrong in a damaged file: compare it with the bytes that are there.
std::uint32_t tagDataSize(const std::byte* header);
/// In ms, modulo 2^32, put together from its two places.
std::uint32_t tagTimestamp(const std::byte* header);
/// 24 bits; 0 in every tag that a recorder writes.
std::uint32_t tagStreamId(const std::byte* header);
/// The type byte with all of its bits; mask with kTagTypeMask for the kind.
inline std::uint8_t tagRawType(const std::byte* header) {
  return std::to_integer<std::uint8_t>(header[0]);
}

}  // namespace qvs::util
