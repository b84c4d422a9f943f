#pragma once

#include <cstdint>
#include <vector>

#include "util/bytes.h"

namespace host {

/// The values of `tfhd` for samples whose `trun` has none (ISO/IEC 14496-12, 8.8.7); 0 if it has none either. The
/// duration is in the track's timescale, the size in bytes.
struct SampleDefaults {
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
};

/// One `trun` (ISO/IEC 14496-12, 8.8.8) that can be changed. Each sample has its own duration and size here, whether
/// the box had them or not. Sample flags and composition offsets are kept as they are. Owns its samples.
class TrackRun {
 public:
  /// `payload` begins with the version, and belongs to a fragment that SegmentReader has read: it has checked the count
  /// against the bytes of the `mdat`. Throws MalformedInput if the payload ends early.
  TrackRun(qvs::util::ByteReader payload, const SampleDefaults& defaults);

  /// Offset of the first sample in bytes, from the start of the `moof`.
  std::int64_t dataOffset() const { return dataOffset_; }
  void setDataOffset(std::int64_t offset) { dataOffset_ = offset; }

  /// All `sample` arguments are below this number.
  std::size_t count() const { return samples_.size(); }
  std::uint32_t duration(std::size_t sample) const { return samples_[sample].duration; }
  std::uint32_t size(std::size_t sample) const { return samples_[sample].size; }
  /// Changes one sample. The box then stores the durations, or sizes, of all its samples.
  void setDuration(std::size_t sample, std::uint32_t duration);
  void setSize(std::size_t sample, std::uint32_t size);

  /// Appends the box. Throws std::out_of_range if the data offset does not fit in 32 bits.
  void write(qvs::util::ByteWriter& out) const;

 private:
  /// All fields of a sample, whether the box stores them or not.
  struct Sample {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint32_t compositionOffset = 0;
  };

  std::uint8_t version_ = 0;
  /// Which fields the box has: kTrun... in reading/fragmentFlags.h.
  std::uint32_t flags_ = 0;
  std::int64_t dataOffset_ = 0;
  std::uint32_t firstSampleFlags_ = 0;
  std::vector<Sample> samples_;
};

}  // namespace host
