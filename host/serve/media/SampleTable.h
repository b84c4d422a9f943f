#pragma once

#include <cstdint>
#include <vector>

#include "util/bytes.h"

namespace host::serve {

/// The sample tables of a track (ISO/IEC 14496-12, 8.6 and 8.7), sample by sample, in decoding order. Each sample is a
/// chunk, because headers of tags are between them. A sample takes 12 bytes, and up to 16 more if its duration and its
/// composition offset differ from those of the sample before.
///
///     stts  ctts if any offset is not 0  stss if any sample is no key frame  stsc  stsz  stco or co64
class SampleTable {
 public:
  struct Sample {
    /// In the track's timescale. Not below that of the sample before.
    std::uint64_t decodeTime = 0;
    /// Presentation time less decode time.
    std::int32_t compositionOffset = 0;
    std::uint32_t size = 0;
    bool sync = true;
    /// Number of its sample entry, counted from 1.
    std::uint32_t description = 1;
    /// Bytes from the first byte of the media data.
    std::uint64_t position = 0;
  };

  /// Throws std::out_of_range if the distance to the sample before does not fit in 31 bits; players take more for a
  /// negative number.
  void add(const Sample& sample);
  /// Ends the last sample. To be called once, after the last add().
  void finish(std::uint32_t lastDuration);

  std::size_t count() const { return sizes_.size(); }
  /// Decode time of the last sample, and of the end of it once finish() was called.
  std::uint64_t end() const { return end_; }

  /// Appends the tables. `mediaOffset` is that of the first byte of the media data in the file; `longOffsets` says
  /// whether the file needs 64 bits for any of its chunks.
  void write(qvs::util::ByteWriter& out, std::uint64_t mediaOffset, bool longOffsets) const;

 private:
  /// A number of samples with the same value.
  struct Run {
    std::uint32_t count = 0;
    std::uint32_t value = 0;
  };
  static void append(std::vector<Run>& runs, std::uint32_t value);
  static void writeRuns(qvs::util::ByteWriter& out, const std::vector<Run>& runs);
  void writeCompositionOffsets(qvs::util::ByteWriter& out) const;
  void writeSyncSamples(qvs::util::ByteWriter& out) const;
  void writeChunks(qvs::util::ByteWriter& out) const;
  void writeSizes(qvs::util::ByteWriter& out) const;

  std::uint64_t end_ = 0;
  std::vector<Run> durations_;
  std::vector<Run> offsets_;
  /// Whether a composition offset is below 0.
  bool negativeOffsets_ = false;
  std::vector<Run> descriptions_;
  std::vector<std::uint32_t> sizes_;
  std::vector<std::uint64_t> positions_;
  /// Numbers of the key frames, counted from 1.
  std::vector<std::uint32_t> syncSamples_;
};

}  // namespace host::serve
