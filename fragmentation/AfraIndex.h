#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ruvo::k2r {

/// Value of AfraEntry::afraOffset: the fragment is announced, and its samples are still queued. No fragment begins at
/// offset 0, where a segment file has its header.
inline constexpr std::uint64_t kHeldFragmentOffset = 0;
/// Value of AfraEntry::afraOffset: the number has no fragment of its own.
inline constexpr std::uint64_t kNoFragmentOffset = 0xFFFFFFFFFFFFFFFF;

/// An entry of either kind: a local one has time and offset of a sample, a global one the place of a fragment.
struct AfraEntry {
  /// In ticks of the index's timescale. An entry that only fills a gap repeats the time of the entry before.
  std::uint64_t time = 0;
  /// Local only: position of the sample, in bytes.
  std::uint64_t offset = 0;
  /// The rest: global only.
  std::uint32_t segment = 0;
  std::uint32_t fragment = 0;
  /// Offset in the segment file, in bytes, at which the fragment begins, or one of the values above.
  std::uint64_t afraOffset = kHeldFragmentOffset;
  /// Bytes from there; the recorder writes 0.
  std::uint64_t offsetFromAfra = 0;

  AfraEntry() = default;
  /// A local entry.
  AfraEntry(std::uint64_t sampleTime, std::uint64_t sampleOffset) : time(sampleTime), offset(sampleOffset) {}
  /// A global entry. `position` is afraOffset, or one of the values above.
  AfraEntry(std::uint64_t startTime, std::uint32_t inSegment, std::uint32_t number, std::uint64_t position,
            std::uint64_t offsetInside)
      : time(startTime), segment(inSegment), fragment(number), afraOffset(position), offsetFromAfra(offsetInside) {}

  /// Whether the number has a fragment in the segment file.
  bool isWritten() const { return afraOffset != kHeldFragmentOffset && afraOffset != kNoFragmentOffset; }

  bool operator==(const AfraEntry&) const = default;
};

/// One `afra` box, the fragment index of a segment and the whole content of its index file. All integers are
/// big-endian.
///
///     0  u32  box size             13  u32  timescale
///     4  u32  'afra'               17  u32  local entries l
///     8  u8   version 0            21       l times u64 time, o offset
///     9  u24  flags 0               .  u32  global entries g, only with bit 5
///    12  u8   sizes, below          .       g times u64 time, n segment, n fragment,
///                                           o offset of the fragment, o offset from there
///
/// Sizes: bit 7 numbers n are u32, else u16; bit 6 offsets o are u64, else u32; bit 5 global entries follow; other bits
/// are written as 0 and ignored. A file of the recorder with g entries, above 0, has 25 + 32 * g bytes.
struct AfraIndex {
  /// Bit 7. The recorder writes wide fields only, here and below; others may come from foreign files.
  bool longIds = true;
  /// Bit 6.
  bool longOffsets = true;
  /// Ticks per second.
  std::uint32_t timescale = 1000;
  std::vector<AfraEntry> localEntries;
  std::vector<AfraEntry> globalEntries;

  bool operator==(const AfraIndex&) const = default;
};

/// Whether the numbers of the global entries rise by exactly 1, which every index file guarantees; numbers without a
/// fragment have entries as well. The recorder refuses to write an index for which this is false. The first `known`
/// entries are not compared with each other.
bool hasConsecutiveFragments(const AfraIndex& index, std::size_t known = 0);

}  // namespace ruvo::k2r
