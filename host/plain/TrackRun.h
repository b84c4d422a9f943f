#pragma once

#include <cstdint>
#include <vector>

#include "util/bytes.h"

namespace host {

/// What `tfhd` says of the samples whose run is silent (ISO/IEC 14496-12, 8.8.7). What it leaves out is 0.
struct SampleDefaults {
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
};

/// One `trun` (ISO/IEC 14496-12, 8.8.8) that can be changed: every sample knows its duration and size, wherever these
/// were told. Flags and composition offsets pass through.
class TrackRun {
 public:
  /// `payload` is that of the box, from its version on, in a fragment that SegmentReader has read: that reader checks
  /// the count against the bytes of the `mdat`. Throws MalformedInput if the payload ends early.
  TrackRun(qvs::util::ByteReader payload, const SampleDefaults& defaults);

  /// Bytes from the start of the `moof` to the first sample.
  std::int64_t dataOffset() const { return dataOffset_; }
  void setDataOffset(std::int64_t offset) { dataOffset_ = offset; }

  std::size_t count() const { return samples_.size(); }
  std::uint32_t duration(std::size_t sample) const { return samples_[sample].duration; }
  std::uint32_t size(std::size_t sample) const { return samples_[sample].size; }
  /// The box then tells the durations, or sizes, of all its samples. `sample` is below count().
  void setDuration(std::size_t sample, std::uint32_t duration);
  void setSize(std::size_t sample, std::uint32_t size);

  /// Appends the box. Throws std::out_of_range for a data offset beyond 32 bits.
  void write(qvs::util::ByteWriter& out) const;

 private:
  struct Sample {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint32_t compositionOffset = 0;
  };

  std::uint8_t version_ = 0;
  std::uint32_t flags_ = 0;
  std::int64_t dataOffset_ = 0;
  std::uint32_t firstSampleFlags_ = 0;
  std::vector<Sample> samples_;
};

}  // namespace host
