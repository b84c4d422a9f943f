#pragma once

#include <cstddef>
#include <cstdint>

namespace ruvo::k2rpkgutil {

/// The fields of an AAC configuration (AudioSpecificConfig, ISO/IEC 14496-3, 1.6.2.1). In bits, most significant first:
///
///     5   object type; 31 means 32 + the next 6 bits
///     4   sampling frequency index; 15 means a rate of 24 bits follows
///     4   channel configuration
///         object types 5 and 29 (SBR): index of the extension rate, then the object type of the core
///         GASpecificConfig (14496-3, 4.4.1), for the object types that have it
///         sync 0x2B7 of 11 bits, and the extension, if 16 or more bits are left
///
/// A plain value; the caller fills in `data` and `dataSize`, readAacConfig() the rest.
struct AacConfig {
  /// Value of `parsed` after success. The number is of no meaning beyond not being a likely count.
  static constexpr std::int32_t kParsed = 0xFF00;

  /// kParsed once the configuration was read to its end.
  std::int32_t parsed = 0;
  /// Audio object type (14496-3, 1.5.1); with SBR the one of the core.
  std::int32_t objectType = 0;
  /// Hertz; 0 for a reserved index.
  std::int32_t sampleRate = 0;
  /// The channel configuration; if the stream has 0 there, the number of channel elements of its program config
  /// element.
  std::int32_t channelConfig = 0;
  /// 1 or 0; -1 if the configuration does not say.
  std::int32_t sbrPresent = 0;
  /// 5 if there is SBR, 22 for BSAC with an extension, else as read.
  std::int32_t extensionObjectType = 0;
  /// Hertz; equal to `sampleRate` if the extension has no rate.
  std::int32_t extensionSampleRate = 0;
  /// 1 for frames of 960 samples, 0 for 1024.
  std::int32_t frameLengthFlag = 0;
  /// For BSAC only: frames in a super-frame, and bytes of the largest layer.
  std::int32_t numSubFrames = 0;
  std::int32_t layerLength = 0;
  /// Bytes at `data`, which belongs to the caller and must outlive the call. Not kept beyond it.
  std::int32_t dataSize = 0;
  const std::byte* data = nullptr;
};

/// The result of a reading; the values are fixed.
enum class AacVerdict : std::int32_t {
  kRead = 0,
  /// The data end within the configuration.
  kTruncated = -1,
  /// `data` is null or `dataSize` is below 1.
  kNoData = -2,
  /// An object type, an extension or an error protection whose configuration is not read.
  kUnsupported = -4,
};

/// Fills `config` from its data. With any verdict but kRead the fields contain what was read before the end: a field
/// whose bits are not all there keeps its value. Data that begin like an ADTS header (ISO/IEC 13818-7, 6.2) are read as
/// one, since some encoders send that. Never reads beyond the data, and throws nothing.
AacVerdict readAacConfig(AacConfig& config);

}  // namespace ruvo::k2rpkgutil
