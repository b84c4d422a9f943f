#pragma once

#include <cstddef>
#include <cstdint>

namespace ruvo::k2rpkgutil {

/// What an AAC configuration says (AudioSpecificConfig, ISO/IEC 14496-3, 1.6.2.1).
struct AacConfig {
  static constexpr std::int32_t kParsed = 0xFF00;

  /// kParsed once the configuration was read to its end.
  std::int32_t parsed = 0;
  std::int32_t objectType = 0;
  /// Hertz.
  std::int32_t sampleRate = 0;
  /// Where the stream says 0, the number of channel elements of its program config element.
  std::int32_t channelConfig = 0;
  /// -1 where the configuration does not say.
  std::int32_t sbrPresent = 0;
  std::int32_t extensionObjectType = 0;
  /// Hertz; the sample rate where there is no rate of its own.
  std::int32_t extensionSampleRate = 0;
  std::int32_t frameLengthFlag = 0;
  std::int32_t numSubFrames = 0;
  std::int32_t layerLength = 0;
  /// Bytes at `data`, which is the caller's.
  std::int32_t dataSize = 0;
  const std::byte* data = nullptr;
};

enum class AacVerdict : std::int32_t {
  kRead = 0,
  /// The data end within the configuration.
  kTruncated = -1,
  kNoData = -2,
  /// An object type, an extension or an error protection whose configuration is not read.
  kUnsupported = -4,
};

/// Fills `config` from its data. On any verdict but kRead the fields hold what was read so far: a field whose bits are
/// not all there keeps its value. A first word that looks like an ADTS header is read as one (13818-7, 6.2).
AacVerdict readAacConfig(AacConfig& config);

}  // namespace ruvo::k2rpkgutil
