#pragma once

#include <optional>
#include <vector>

#include "host/input/AvTrack.h"
#include "util/tagHeader.h"

namespace host {

/// AAC. Data: 0xAF, packet type 0 or 1, then the AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1), or a frame without
/// ADTS header. A filter of libavcodec takes such headers away and makes the configuration from the first of them.
/// The stream outlives the track.
class AacTrack : public AvTrack {
 public:
  AacTrack(const AVStream& stream, Log& log);

  std::uint8_t messageType() const override { return qvs::util::kAudioTag; }
  bool prepare(AVPacket& packet) override;
  std::span<const std::byte> sequenceHeader() const override { return sequenceHeader_; }
  void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const override;

 private:
  /// Begins anew where the ADTS header of a frame (ISO/IEC 14496-3, 1.A.2.2) tells another configuration.
  void followAdts(std::span<const std::byte> frame);
  void takeConfiguration(std::span<const std::byte> configuration);
  bool refuse(const char* reason);

  const AVStream& stream_;
  Log& log_;
  BitstreamFilter filter_;
  /// Object type, rate and channels of the last ADTS header.
  std::optional<std::uint32_t> adts_;
  std::vector<std::byte> sequenceHeader_;
  bool warnedOfRefusal_ = false;
};

}  // namespace host
