#pragma once

#include <cstdint>
#include <optional>

#include "host/files/FileView.h"
#include "platform/container/reading/Fragment.h"
#include "util/fourcc.h"

namespace host {

/// A media tag in a segment: its place, and what its first bytes say.
struct TagContent {
  krvo::container::StoredTag place;
  std::uint32_t streamId = 0;
  std::uint32_t backPointer = 0;
  /// The first two bytes after the tag header. If there are fewer than two bytes of data, bytes of the back pointer.
  std::uint8_t firstByte = 0;
  std::uint8_t secondByte = 0;
  /// Presentation time less decode time in ms. For AVC only; 0 for other tags.
  std::int32_t compositionTime = 0;
  /// Offset of the sample from the start of the data, in bytes. Nothing for a protected tag that is too short for its
  /// filter fields.
  std::optional<std::uint32_t> sampleOffset;
  /// Whether there are filter fields before the sample. The bit in the type byte is not enough: a clear recording
  /// stores the type byte as its host gave it.
  bool isProtected = false;

  /// The kind: 8 audio, 9 video, 15 and 18 script data, without the bits of protection.
  std::uint8_t type() const;
  /// By the type byte of the tag, without the protection bit.
  bool isVideo() const;
  bool isAudio() const;
  bool isKeyFrame() const;
  /// Whether it is the configuration of a codec, which is a sample of the hint track only.
  bool isSequenceHeader() const;
  /// Format code of the codec; 0 if unknown.
  qvs::util::FourCC formatCode() const;
  /// Whether the codec cannot be known: the data of a protected video or audio tag were too short for a codec header,
  /// so the filter fields come first, and the first byte is their count.
  bool hidesCodec() const;
  /// Whether its kind and codec are ones that a recorder stores.
  bool isRecordable() const;
  /// In bytes, with header and back pointer.
  std::uint64_t size() const { return place.end() - place.offset; }
};

/// The size in bytes of the tag at `offset`, with header and back pointer, by its header. Throws SegmentError if the
/// header does not end at `limit` or before.
std::uint64_t tagSizeAt(FileView& file, std::uint64_t offset, std::uint64_t limit);

/// Reads the tag at `offset`. `size` is its size in bytes, whatever its header says: a fault in one must be reported
/// once. `protectedRecording`: whether the filter bit means anything. Throws SegmentError, with the offset of the tag,
/// if the tag does not end at `limit` or before.
TagContent readTag(FileView& file, std::uint64_t offset, std::uint64_t size, std::uint64_t limit,
                   bool protectedRecording = false);

}  // namespace host
