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

using qvs::util::FourCC;
using qvs::util::operator""_4cc;

// What the `moov` box of a segment says. Times of day are seconds since 1904-01-01 UTC.

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

struct AudioFormat {
  /// Hertz; 0 where the entry has no room for it, from 65536 on.
  float sampleRate = 0;
  std::uint16_t channels = 0;
  std::uint16_t bitsPerSample = 0;
};

struct HintFormat {
  std::uint16_t hintTrackVersion = 0;
  std::uint16_t highestCompatibleVersion = 0;
  std::uint16_t maximumPacketSize = 0;
};

/// A sample entry (ISO/IEC 14496-12, 8.5.2).
struct SampleDescription {
  /// As stored.
  FourCC formatCode = 0;
  /// By the kind of the track; a data track has no more than the codec header.
  std::variant<std::monostate, VideoFormat, AudioFormat, HintFormat> format;
  /// The boxes behind the fixed fields: `avcC`, `esds`, `sinf`, `amhp`.
  std::vector<std::byte> codecHeader;
};

struct Track {
  std::uint32_t id = 0;
  /// `vide`, `soun`, `meta` or `hint`.
  FourCC handler = 0;
  std::string handlerName;
  /// 24 bits.
  std::uint32_t flags = 0;
  std::uint32_t timescale = 0;
  std::uint64_t created = 0;
  std::uint64_t modified = 0;
  /// In `timescale` units.
  std::uint64_t duration = 0;
  /// Pixels.
  float width = 0;
  float height = 0;
  float volume = 0;
  /// Lower-case letters of ISO 639-2.
  std::array<char, 3> language{};
  /// Of a hint track: the ids of the tracks that it refers to.
  std::vector<std::uint32_t> hintedTracks;
  /// Never null.
  std::vector<std::shared_ptr<const SampleDescription>> descriptions;
  /// The description of the samples to come, counted from 1.
  std::uint32_t selectedDescription = 1;
  /// Of the sample table; fragments are not counted in it.
  std::uint32_t sampleCount = 0;

  bool isVideo() const { return handler == "vide"_4cc; }
  bool isHint() const { return handler == "hint"_4cc; }
};

struct Movie {
  std::uint64_t created = 0;
  std::uint64_t modified = 0;
  std::uint32_t timescale = 0;
  /// In `timescale` units.
  std::uint64_t duration = 0;
  float rate = 0;
  float volume = 0;
  /// Never null. Handles on tracks outlive the movie.
  std::vector<std::shared_ptr<Track>> tracks;
};

/// Samples of these carry composition offsets: `avc1`, and `encv` in front of an `avcC` box.
bool isAvc(const SampleDescription& description);

}  // namespace krvo::container
