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

/// Size of a control file.
inline constexpr std::size_t kControlFileSize = 4;
/// No file that is kept in memory as a whole has more bytes.
inline constexpr std::size_t kMaxSmallFile = std::size_t{256} << 20;

/// A whole file. Throws CommandError where it cannot be read or is larger than that.
std::vector<std::byte> readSmallFile(const std::string& path);

/// Puts `content` in the place of what the file held; whoever opens it finds the whole old or the whole new one. Throws
/// CommandError where it cannot be written.
void replaceSmallFile(const std::string& path, std::span<const std::byte> content);

/// A whole box of a segment, its header included. Throws SegmentError where it cannot be read or is larger than that.
std::vector<std::byte> loadBox(krvo::container::Source& file, const krvo::container::BoxSpan& box);

// The boxes that stand in small files and in fragments alike, read from `bytes`, which begin at `offset` of a file.
// What follows the box is not looked at. Throw Malformed.

ruvo::k2r::BootstrapInfo parseBootstrap(std::span<const std::byte> bytes, std::uint64_t offset = 0);
ruvo::k2r::AfraIndex parseAfra(std::span<const std::byte> bytes, std::uint64_t offset = 0);
/// The base time. Throws Malformed for any other size than kControlFileSize.
std::uint32_t parseControl(std::span<const std::byte> bytes);

/// The bootstrap has the mark with which a stop ends it.
bool isStopped(const ruvo::k2r::BootstrapInfo& info);

/// The one form in which a recorder writes such a box.
std::vector<std::byte> imageOf(const ruvo::k2r::BootstrapInfo& info);
std::vector<std::byte> imageOf(const ruvo::k2r::AfraIndex& index);

/// Where two images begin to differ; where one is the beginning of the other, that is its end.
std::optional<std::size_t> firstDifference(std::span<const std::byte> a, std::span<const std::byte> b);

}  // namespace host
