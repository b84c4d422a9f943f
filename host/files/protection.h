#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/FileView.h"
#include "host/files/TagContent.h"
#include "platform/container/reading/Movie.h"

namespace host {

// What makes a recording a protected one, as its files have it.

/// The protected description of a track, taken apart.
struct TrackProtection {
  /// What the track is without its protection.
  krvo::container::SampleDescription clear;
  /// The protection metadata in Base64.
  std::string metadata;
};

/// Nothing for a description that is not protected. Throws Malformed, at 0, where its `sinf` box is not exactly as a
/// recorder writes it.
std::optional<TrackProtection> readProtection(const krvo::container::SampleDescription& description);

/// The metadata text in a `.drmmeta` file. Throws Malformed where anything in it is not as a recorder writes it.
std::string readDrmMeta(std::span<const std::byte> bytes);

/// The metadata block that a text stands for. Throws Malformed, at 0, for what is not Base64 (RFC 4648) in one line.
std::vector<std::byte> metadataBlock(std::string_view text);

/// What stands in front of the sample of a protected tag.
struct TagFilter {
  /// Bytes of codec header that stay in the clear in front of the filter.
  std::uint32_t clearBytes = 0;
  std::uint32_t count = 0;
  std::string name;
  bool encrypted = false;
  /// Empty where the sample is in the clear.
  std::vector<std::byte> vector;
  /// Of the sample, from the start of the tag's data.
  std::uint32_t payloadOffset = 0;
};

/// Reads the filter of a tag that has one. Throws Malformed, in the file, for a count or a name that no recorder
/// writes, and for parameters of another form or beyond the tag.
TagFilter readTagFilter(FileView& file, const TagContent& tag);

}  // namespace host
