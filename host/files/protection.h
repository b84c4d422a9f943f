#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/FileView.h"
#include "host/files/TagContent.h"
#include "platform/container/reading/Movie.h"

namespace host {

// The parts of its files that make a recording a protected one.

/// The sample description of a protected track, split.
struct TrackProtection {
  /// The description of the track without protection.
  krvo::container::SampleDescription clear;
  /// The protection metadata, in Base64.
  std::string metadata;
};

/// Nothing for a description that is not protected. Throws Malformed, with offset 0, if its `sinf` box (ISO/IEC
/// 14496-12, 8.12.1) differs from what a recorder writes. Strict, because an append copies the box into its own
/// segments, and `unprotect` uses it.
std::optional<TrackProtection> readProtection(const krvo::container::SampleDescription& description);

/// The metadata text in a `.drmmeta` file. Throws Malformed, with the offset, if anything in it differs from what a
/// recorder writes.
std::string readDrmMeta(std::span<const std::byte> bytes);

/// Decodes a metadata text. Throws Malformed, with offset 0, if it is not Base64 (RFC 4648) in one line.
std::vector<std::byte> metadataBlock(std::string_view text);

/// The filter fields of a protected tag, which are before its sample.
struct TagFilter {
  /// Number of bytes before the fields: those of the codec header, in the clear.
  std::uint32_t clearBytes = 0;
  /// Always 1 in a recorder's tags.
  std::uint32_t count = 0;
  std::string name;
  bool encrypted = false;
  /// Initialization vector; empty if the sample is in the clear.
  std::vector<std::byte> vector;
  /// Offset of the sample from the start of the tag's data, in bytes.
  std::uint32_t payloadOffset = 0;
};

/// Reads the fields of a protected tag. Throws Malformed, with the offset in the file, for a count, a name or
/// parameters that no recorder writes, and if they reach beyond the tag.
TagFilter readTagFilter(FileView& file, const TagContent& tag);

}  // namespace host
