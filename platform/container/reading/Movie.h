#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "util/fourcc.h"

namespace krvo::container {

/// Dates in boxes count seconds from 1904-01-01 UTC (ISO/IEC 14496-12, 8.2.2): so many are before 1970.
inline constexpr std::uint64_t kFrom1904To1970 = 2082844800;

using qvs::util::FourCC;
using qvs::util::operator""_4cc;

// The content of the `moov` box of a segment (ISO/IEC 14496-12, 8.2.1). Times of day are seconds since 1904-01-01 UTC.

/// The fixed fields of a `VisualSampleEntry` (12.1.3).
struct VideoFormat {
  /// Pixels.
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  /// Dots per inch.
  float horizontalResolution = 0;
  float verticalResolution = 0;
  std::uint16_t frameCount = 0;
  std::uint16_t depth = 0;
};

/// The fixed fields of an `AudioSampleEntry` (12.2.3).
struct AudioFormat {
  /// Hertz. 0 for rates from 65536 on, which the field of the entry cannot represent.
  float sampleRate = 0;
  std::uint16_t channels = 0;
  std::uint16_t bitsPerSample = 0;
};

/// The fields of a `HintSampleEntry` with the code `rtmp` (12.4.3).
struct HintFormat {
  std::uint16_t hintTrackVersion = 0;
  std::uint16_t highestCompatibleVersion = 0;
  /// Bytes.
  std::uint16_t maximumPacketSize = 0;
};

/// A sample entry (8.5.2).
struct SampleDescription {
  /// As stored: `encv` and the like for a protected track (8.12).
  FourCC formatCode = 0;
  /// Depends on the kind of the track. A data track has only the codec header.
  std::variant<std::monostate, VideoFormat, AudioFormat, HintFormat> format;
  /// The boxes after the fixed fields: `avcC`, `esds`, `sinf`, `amhp`.
  std::vector<std::byte> codecHeader;
};

/// A `trak` (8.3.1).
struct Track {
  std::uint32_t id = 0;
  /// `vide`, `soun`, `meta` or `hint` (8.4.3).
  FourCC handler = 0;
  std::string handlerName;
  /// Of the `tkhd` (8.3.2), 24 bits.
  std::uint32_t flags = 0;
  /// Units a second.
  std::uint32_t timescale = 0;
  std::uint64_t created = 0;
  std::uint64_t modified = 0;
  /// In `timescale` units.
  std::uint64_t duration = 0;
  /// Pixels.
  float width = 0;
  float height = 0;
  /// 1 is full volume.
  float volume = 0;
  /// Lower-case letters of ISO 639-2.
  std::array<char, 3> language{};
  /// Of a hint track: the ids of the tracks that it refers to (`tref`, 8.3.3).
  std::vector<std::uint32_t> hintedTracks;
  /// Never null.
  std::vector<std::shared_ptr<const SampleDescription>> descriptions;
  /// Number of the description that the next samples get, counted from 1.
  std::uint32_t selectedDescription = 1;
  /// From the `stsz` (8.7.3). Samples in fragments are not counted there, so a segment of ours has 0.
  std::uint32_t sampleCount = 0;

  bool isVideo() const { return handler == "vide"_4cc; }
  bool isHint() const { return handler == "hint"_4cc; }
};

/// The `moov` as a whole, with the fields of its `mvhd` (8.2.2).
struct Movie {
  std::uint64_t created = 0;
  std::uint64_t modified = 0;
  std::uint32_t timescale = 0;
  /// In `timescale` units.
  std::uint64_t duration = 0;
  float rate = 0;
  float volume = 0;
  /// Never null. Shared, because handles on a track may outlive the movie.
  std::vector<std::shared_ptr<Track>> tracks;
};

}  // namespace krvo::container
