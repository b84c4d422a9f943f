#pragma once

#include <cstdint>
#include <optional>

#include "host/files/FileView.h"
#include "platform/container/reading/Fragment.h"
#include "util/fourcc.h"

namespace host {

/// A media tag in a segment: where it lies, and what its first bytes say.
struct TagContent {
  krvo::container::StoredTag place;
  std::uint32_t streamId = 0;
  std::uint32_t backPointer = 0;
  /// The two bytes behind the header; where there are less than two of data, the back pointer follows at once.
  std::uint8_t firstByte = 0;
  std::uint8_t secondByte = 0;
  /// Milliseconds from the decode to the presentation of a sample; of an AVC tag only.
  std::int32_t compositionTime = 0;
  /// Of the sample, from the start of the data. Nothing where a protected tag is too short for what stands in front.
  std::optional<std::uint32_t> sampleOffset;
  /// Has an encryption header in front of its sample. The filter bit alone does not say so: a clear recording stores
  /// the type byte as its host gave it.
  bool isProtected = false;

  std::uint8_t type() const;
  bool isVideo() const;
  bool isAudio() const;
  bool isKeyFrame() const;
  /// A codec's configuration: a sample of the hint track alone.
  bool isSequenceHeader() const;
  /// Of the codec; 0 for one that is not known.
  qvs::util::FourCC formatCode() const;
  /// A protected tag of video or audio whose data were too short for a codec header: all of them stand behind the
  /// filter, with whose count the data begin. What sample it makes is then not to be told.
  bool hidesCodec() const;
  /// Of a kind and codec that a recorder stores.
  bool isRecordable() const;
  std::uint64_t size() const { return place.end() - place.offset; }
};

/// The size, header and back pointer included, that the header of the tag at `offset` tells. Throws SegmentError where
/// the header does not end at `limit` or before.
std::uint64_t tagSizeAt(FileView& file, std::uint64_t offset, std::uint64_t limit);

/// Reads the tag at `offset`, whose size is `size` whatever its header says. Throws SegmentError, at the tag, where it
/// does not end at `limit` or before. `protectedRecording` tells whether the filter bit means anything.
TagContent readTag(FileView& file, std::uint64_t offset, std::uint64_t size, std::uint64_t limit,
                   bool protectedRecording = false);

}  // namespace host
