#pragma once

#include <cstddef>
#include <span>

namespace krvo::encryption {

/// What can be said of one AVC sample from its bytes.
enum class AvcSample {
  /// Exactly one AVCDecoderConfigurationRecord (ISO/IEC 14496-15, 5.3.3.1).
  kConfiguration,
  /// A picture to begin with: an IDR picture, one with a recovery point message, or one of intra slices alone.
  kKeyFrame,
  /// Another picture, with a NAL unit that others refer to (nal_ref_idc is not 0).
  kReference,
  /// A picture that no other needs.
  kDisposable,
  /// No run of NAL units whose lengths fill the sample, or one that holds what this reader does not know.
  kUnknown,
};

/// `sample` is a record, or a run of NAL units behind lengths of four bytes, and shorter than 16 MiB.
AvcSample classifyAvcSample(std::span<const std::byte> sample);

}  // namespace krvo::encryption
