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

/// What a recording says of itself as a whole.
struct DocumentProperties {
  std::uint32_t version = 1;
  /// In `timescale` units.
  std::uint64_t duration = 0;
  float rate = 1.0F;
  float volume = 1.0F;
  std::uint32_t timescale = 1000;
};

/// What every sample description has.
struct SampleDescInfo {
  virtual ~SampleDescInfo() = default;

  FourCC formatCode = 0;
  /// Bytes.
  std::uint32_t codecHeaderLength = 0;
  /// "vide", "soun" or "meta".
  FourCC handlerCode = 0;
};

struct VideoSampleDescInfo : SampleDescInfo {
  /// Pixels.
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  /// Dots per inch.
  float horizontalResolution = 72.0F;
  float verticalResolution = 72.0F;
  std::uint16_t frameCount = 1;
  std::uint16_t depth = 24;
};

struct AudioSampleDescInfo : SampleDescInfo {
  /// Hertz.
  float sampleRate = 0;
  std::uint32_t channels = 0;
  /// 0 where not known. A tag-stream source gives the bits of a sample.
  std::uint32_t bytesPerSample = 0;
};

/// How the samples of a track are coded.
struct K2RSampleDescriptor {
  std::shared_ptr<SampleDescInfo> info;
  /// The codec configuration box, `avcC` or `esds`, header included; empty for codecs without one.
  qvs::util::ByteBuffer codecHeader;
  /// The `sinf` box of a protected track; empty in the clear.
  qvs::util::ByteBuffer protection;
  FourCC formatCode = 0;
};

/// One track as the packager sees it.
struct K2RTrack {
  /// "vide", "soun" or "meta"; a file may also yield "hint".
  FourCC handlerType = 0;
  /// Three letters of ISO 639-2.
  std::string language = "eng";
  std::uint32_t handlerNameLength = 0;
  /// In `timescale` units.
  std::uint32_t duration = 0;
  /// Pixels.
  float width = 0;
  float height = 0;
  float volume = 0;
  std::uint32_t timescale = 1000;
  std::uint32_t flags = 7;
  /// The fields of the library's entries record; the third is the length of the codec header.
  std::array<std::uint32_t, 3> entries{};
  /// At least one in any track that is handed to a writer.
  std::vector<std::shared_ptr<K2RSampleDescriptor>> sampleDescriptors;
  std::uint32_t sampleCount = 0;
};

/// Walks the tracks of a source once, front to back. The asker owns it.
class ITrackIterator {
 public:
  virtual ~ITrackIterator() = default;
  virtual bool hasNext() = 0;
  /// Sets `out` to the next track and moves on. Behind the last one it sets null.
  virtual void next(std::shared_ptr<K2RTrack>& out) = 0;
};

/// A recording's properties and tracks, whoever holds them.
class IMediaProperties {
 public:
  virtual ~IMediaProperties() = default;
  virtual DocumentProperties getDocumentProperties() = 0;
  /// A new iterator, which the caller owns.
  virtual ITrackIterator* getTracks() = 0;
};

}  // namespace ruvo::k2rpkgutil
