#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"

namespace host {

/// A field of a box, by its place in the image of the box (its bytes in a file). For findings that name a field and its
/// offset.
struct ImageField {
  /// In bytes from the start of the box.
  std::uint64_t offset = 0;
  std::uint64_t width = 0;
  std::string name;

  /// First byte after the field.
  std::uint64_t end() const { return offset + width; }
};

/// All fields of the image of a bootstrap, in order and without holes.
std::vector<ImageField> listFields(const ruvo::k2r::BootstrapInfo& info);

/// Offsets of entries in the image of an index, in bytes. Entries are counted from 0. They depend on the widths that
/// the index announces.
std::uint64_t localEntryOffset(const ruvo::k2r::AfraIndex& index, std::size_t entry);
std::uint64_t globalEntryOffset(const ruvo::k2r::AfraIndex& index, std::size_t entry);
/// The name of the field to which the byte at `offset` belongs.
std::string fieldNameAt(const ruvo::k2r::AfraIndex& index, std::uint64_t offset);
/// Offset of the byte with the widths of the entries, in the image of an index.
inline constexpr std::uint64_t kSizesByte = 12;
/// Offsets of fields from the start of a global entry with numbers and offsets of full width.
inline constexpr std::uint64_t kEntrySegment = 8;
inline constexpr std::uint64_t kEntryFragment = 12;
inline constexpr std::uint64_t kEntryPosition = 16;
inline constexpr std::uint64_t kEntryOffsetInside = 24;

/// The value of a field for the user: a number of up to eight bytes in decimal, a longer field in hexadecimal.
std::string fieldText(std::span<const std::byte> image, const ImageField& field);

}  // namespace host
