#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "platform/container/reading/Source.h"
#include "platform/container/reading/boxes.h"

namespace host {

/// Size of a control file in bytes.
inline constexpr std::size_t kControlFileSize = 4;
/// Limit in bytes of files and boxes that are read as a whole: a damaged size must not fill the memory.
inline constexpr std::size_t kMaxSmallFile = std::size_t{256} << 20;

/// Reads a whole file. Throws CommandError if it cannot be read or is larger than kMaxSmallFile. The content is that of
/// one moment: recorders replace small files as a whole.
std::vector<std::byte> readSmallFile(const std::string& path);

/// Replaces a file, in one step and flushed to the device: a reader finds all of the old content or all of the new.
/// Throws CommandError if it cannot be written; the old content is then unchanged.
void replaceSmallFile(const std::string& path, std::span<const std::byte> content);

/// Reads a box of a segment, with its header. Throws SegmentError if it cannot be read or is larger than kMaxSmallFile.
std::vector<std::byte> loadBox(krvo::container::Source& file, const krvo::container::BoxSpan& box);

// Boxes that are in small files as well as in fragments. `bytes` begin at `offset` of a file; bytes after the box are
// ignored. They throw Malformed.

ruvo::k2r::BootstrapInfo parseBootstrap(std::span<const std::byte> bytes, std::uint64_t offset = 0);
ruvo::k2r::AfraIndex parseAfra(std::span<const std::byte> bytes, std::uint64_t offset = 0);
/// The base time in ms. Throws Malformed for any size other than kControlFileSize. Big-endian.
std::uint32_t parseControl(std::span<const std::byte> bytes);

/// Whether the bootstrap has the mark with which a stop ends it. An append removes the mark with its first fragment.
bool isStopped(const ruvo::k2r::BootstrapInfo& info);

/// The bytes that a recorder writes for such a box; there is only one form. So a comparison with it finds every byte
/// that a reader of fields passes over.
std::vector<std::byte> imageOf(const ruvo::k2r::BootstrapInfo& info);
std::vector<std::byte> imageOf(const ruvo::k2r::AfraIndex& index);

/// Offset of the first byte in which two images differ. If one is the beginning of the other, its size; nothing if they
/// are equal.
std::optional<std::size_t> firstDifference(std::span<const std::byte> a, std::span<const std::byte> b);

}  // namespace host
