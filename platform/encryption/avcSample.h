#pragma once

#include <cstddef>
#include <span>

namespace krvo::encryption {

/// What one AVC sample is, judged from its bytes alone.
enum class AvcSample {
  /// Exactly one AVCDecoderConfigurationRecord (ISO/IEC 14496-15, 5.3.3.1).
  kConfiguration,
  /// A picture at which a decoder can begin: an IDR picture, one with a recovery point message (ISO/IEC 14496-10, annex
  /// D), or one of intra slices only.
  kKeyFrame,
  /// Another picture, with a NAL unit that others refer to (nal_ref_idc is not 0). Level 1 encrypts it, since
  /// without it other pictures are damaged.
  kReference,
  /// A picture to which no other refers.
  kDisposable,
  /// The lengths of the NAL units do not fill the sample exactly, or there is a unit that this reader does not know, or
  /// no slice at all.
  kUnknown,
};

/// Classifies `sample`, which is a record, or NAL units after lengths of four bytes each, and shorter than 16 MiB (a
/// longer one could be mistaken for a record). Reads slice headers and messages only as far as needed. Throws nothing,
/// whatever the bytes.
AvcSample classifyAvcSample(std::span<const std::byte> sample);

}  // namespace krvo::encryption
