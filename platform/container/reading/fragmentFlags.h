#pragma once

#include <cstdint>

namespace krvo::container {

// Which optional fields a `tfhd` has (ISO/IEC 14496-12, 8.8.7).
inline constexpr std::uint32_t kTfhdBaseDataOffset = 0x000001;
inline constexpr std::uint32_t kTfhdDescriptionIndex = 0x000002;
inline constexpr std::uint32_t kTfhdDefaultDuration = 0x000008;
inline constexpr std::uint32_t kTfhdDefaultSize = 0x000010;
inline constexpr std::uint32_t kTfhdDefaultFlags = 0x000020;
/// Offsets then count from the `moof`, so a fragment can be copied without a change: the plain view of `k2r playlist`
/// depends on it.
inline constexpr std::uint32_t kTfhdDefaultBaseIsMoof = 0x020000;

// Which optional fields a `trun` has (8.8.8): the first two once, the others for each sample, in this order.
inline constexpr std::uint32_t kTrunDataOffset = 0x000001;
inline constexpr std::uint32_t kTrunFirstSampleFlags = 0x000004;
inline constexpr std::uint32_t kTrunDurations = 0x000100;
inline constexpr std::uint32_t kTrunSizes = 0x000200;
inline constexpr std::uint32_t kTrunSampleFlags = 0x000400;
inline constexpr std::uint32_t kTrunCompositionOffsets = 0x000800;
inline constexpr std::uint32_t kTrunSampleFields =
    kTrunDurations | kTrunSizes | kTrunSampleFlags | kTrunCompositionOffsets;

// The fixed fields of an `afra`: 32-bit ids, 64-bit offsets and no entries of other files; times in milliseconds.
inline constexpr std::uint8_t kAfraLongIdsAndOffsets = 0xC0;
inline constexpr std::uint32_t kAfraTimescale = 1000;
/// Bytes of an entry: u64 time, u64 offset.
inline constexpr std::uint64_t kAfraEntrySize = 16;

// Sample flags (8.8.3.1): depends on no other sample; depends on others and is no sync sample. sample_depends_on is in
// bits 25 and 24, sample_is_non_sync_sample in bit 16.
inline constexpr std::uint32_t kSyncSampleFlags = 0x02000000;
inline constexpr std::uint32_t kNonSyncSampleFlags = 0x01010000;
inline constexpr std::uint32_t kSampleIsNonSync = 0x00010000;

}  // namespace krvo::container
