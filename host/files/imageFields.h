#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"

namespace host {

/// One field of a box, by its place in the box's image.
struct ImageField {
  std::uint64_t offset = 0;
  std::uint64_t width = 0;
  std::string name;

  std::uint64_t end() const { return offset + width; }
};

/// All fields of the image of a bootstrap, in the order of the image and without a gap.
std::vector<ImageField> listFields(const ruvo::k2r::BootstrapInfo& info);

// Fields of the image of an index. Entries are counted from 0; fields of a global entry by their names.

std::uint64_t localEntryOffset(const ruvo::k2r::AfraIndex& index, std::size_t entry);
std::uint64_t globalEntryOffset(const ruvo::k2r::AfraIndex& index, std::size_t entry);
/// Which field the byte at `offset` belongs to.
std::string fieldNameAt(const ruvo::k2r::AfraIndex& index, std::uint64_t offset);
/// Of an index: where its sizes byte stands.
inline constexpr std::uint64_t kSizesByte = 12;
/// Of an entry with numbers and offsets of full width: counted from its start.
inline constexpr std::uint64_t kEntrySegment = 8;
inline constexpr std::uint64_t kEntryFragment = 12;
inline constexpr std::uint64_t kEntryPosition = 16;
inline constexpr std::uint64_t kEntryOffsetInside = 24;

/// The big-endian number in a field of up to eight bytes, a longer one as hex.
std::string fieldText(std::span<const std::byte> image, const ImageField& field);

}  // namespace host
