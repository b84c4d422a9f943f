#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "util/ByteBuffer.h"
#include "util/fourcc.h"

namespace ruvo::k2rpkgutil {

using qvs::util::FourCC;

// The records by which recordings, stored streams and segments describe their tracks to each other. All are plain
// values for one thread; those in a `shared_ptr` are shared between a source, its iterators and the writer of a
// segment.

/// The fields of a recording as a whole, as they are stored in the `mvhd` box (ISO/IEC 14496-12, 8.2.2).
struct DocumentProperties {
  std::uint32_t version = 1;
  /// In `timescale` units. 0 while a recording is being written.
  std::uint64_t duration = 0;
  /// Playback speed; 1 is normal.
  float rate = 1.0F;
  /// From 0 to 1; more is stored as 1.
  float volume = 1.0F;
  /// Units a second.
  std::uint32_t timescale = 1000;
};

/// The fields of every sample description (ISO/IEC 14496-12, 8.5.2). Derived records add those of video and audio.
struct SampleDescInfo {
  virtual ~SampleDescInfo() = default;

  /// The code of the clear format, also for a protected track.
  FourCC formatCode = 0;
  /// Bytes of the codec header as stored; of a description read from a protected segment the `sinf` box is counted.
  std::uint32_t codecHeaderLength = 0;
  /// "vide", "soun" or "meta".
  FourCC handlerCode = 0;
};

/// A description of pictures.
struct VideoSampleDescInfo : SampleDescInfo {
  /// Pixels.
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  /// Dots per inch.
  float horizontalResolution = 72.0F;
  float verticalResolution = 72.0F;
  /// Frames in a sample.
  std::uint16_t frameCount = 1;
  /// Bits of a pixel.
  std::uint16_t depth = 24;
};

/// A description of sound.
struct AudioSampleDescInfo : SampleDescInfo {
  /// Hertz.
  float sampleRate = 0;
  std::uint32_t channels = 0;
  /// 0 if not known, as for AAC. MTGMediaSource stores the bits of a sample here, 8 or 16, not its bytes.
  std::uint32_t bytesPerSample = 0;
};

/// One sample description of a track with its codec configuration.
struct K2RSampleDescriptor {
  /// Never null in a descriptor that is handed to a writer; the class is the one of the track's kind.
  std::shared_ptr<SampleDescInfo> info;
  /// The codec configuration box, `avcC` or `esds`, header included; empty for codecs without one.
  qvs::util::ByteBuffer codecHeader;
  /// The `sinf` box of a protected track; empty in the clear.
  qvs::util::ByteBuffer protection;
  /// Same as in `info`.
  FourCC formatCode = 0;
};

/// One track as the packager sees it. The defaults are those of a new recording's tracks.
struct K2RTrack {
  /// "vide", "soun" or "meta"; a file may also yield "hint".
  FourCC handlerType = 0;
  /// Three letters of ISO 639-2.
  std::string language = "eng";
  /// Bytes of the stored handler name; 0 for a new track.
  std::uint32_t handlerNameLength = 0;
  /// In `timescale` units.
  std::uint32_t duration = 0;
  /// Pixels.
  float width = 0;
  float height = 0;
  float volume = 0;
  /// Units a second.
  std::uint32_t timescale = 1000;
  /// The flags of `tkhd` (ISO/IEC 14496-12, 8.3.2): enabled, in movie, in preview.
  std::uint32_t flags = 7;
  /// The fields of the library's entries record; the third is the length of the codec header in bytes.
  std::array<std::uint32_t, 3> entries{};
  /// At least one in any track that is handed to a writer.
  std::vector<std::shared_ptr<K2RSampleDescriptor>> sampleDescriptors;
  /// Samples in the file when the track was read; 0 for a new track.
  std::uint32_t sampleCount = 0;
};

/// Walks the tracks of a source once, front to back. The caller who got it from getTracks() deletes it. It may outlive
/// the source.
class ITrackIterator {
 public:
  virtual ~ITrackIterator() = default;
  /// Whether next() will set a track.
  virtual bool hasNext() = 0;
  /// Sets `out` to the next track and moves on; after the last track it sets null.
  virtual void next(std::shared_ptr<K2RTrack>& out) = 0;
};

/// The properties and tracks of a recording, a segment or a stored stream.
class IMediaProperties {
 public:
  virtual ~IMediaProperties() = default;
  /// The fields of the whole; a copy.
  virtual DocumentProperties getDocumentProperties() = 0;
  /// Returns a new iterator, which the caller owns. A raw pointer, because the slot hands it over the module's border.
  virtual ITrackIterator* getTracks() = 0;
};

}  // namespace ruvo::k2rpkgutil
