#pragma once

#include <optional>
#include <vector>

#include "host/input/AvTrack.h"
#include "util/tagHeader.h"

namespace host {

/// An AAC stream. Message data: 0xAF, packet type 0 or 1, then the AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1) or a
/// frame without its ADTS header. A filter of libavcodec removes ADTS headers, and makes the configuration from the
/// first one. Damaged frames are left out, with one warning for each track.
class AacTrack : public AvTrack {
 public:
  /// `stream` and `log` outlive the track. Throws InputError if libavcodec cannot read such a stream.
  AacTrack(const AVStream& stream, Log& log);

  std::uint8_t messageType() const override { return qvs::util::kAudioTag; }
  bool prepare(AVPacket& packet) override;
  std::span<const std::byte> sequenceHeader() const override { return sequenceHeader_; }
  void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const override;

 private:
  /// Starts a new filter if the ADTS header of a frame (ISO/IEC 14496-3, 1.A.2.2) has another configuration than the
  /// one before.
  void followAdts(std::span<const std::byte> frame);
  /// Makes the sequence header from an AudioSpecificConfig. Ignores an empty one.
  void takeConfiguration(std::span<const std::byte> configuration);
  /// Warns the first time. Returns false.
  bool refuse(const char* reason);

  const AVStream& stream_;
  Log& log_;
  BitstreamFilter filter_;
  /// Object type, rate and channels of the last ADTS header; nothing before the first one.
  std::optional<std::uint32_t> adts_;
  /// Message data: 0xAF, 0, and the configuration. Empty before the first one.
  std::vector<std::byte> sequenceHeader_;
  bool hasWarned_ = false;
};

}  // namespace host
