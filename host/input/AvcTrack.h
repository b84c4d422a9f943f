#pragma once

#include <vector>

#include "host/input/AvTrack.h"
#include "host/input/avcConfig.h"
#include "util/tagHeader.h"

namespace host {

/// H.264. Data: frame type (1 key frame, 2 other) and codec 7 in a byte, packet type 0 or 1, i24 composition time, then
/// the configuration record, or the NAL units behind their lengths. A stream that has them behind start codes is
/// rewritten; its sequence header is made from its first parameter sets, and later ones are in its frames anyway.
class AvcTrack : public AvTrack {
 public:
  AvcTrack(const AVCodecParameters& codec, Log& log);

  std::uint8_t messageType() const override { return qvs::util::kVideoTag; }
  bool prepare(AVPacket& packet) override;
  std::span<const std::byte> sequenceHeader() const override { return sequenceHeader_; }
  void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const override;

 private:
  void setConfiguration(std::span<const std::byte> record);
  /// What a byte stream tells by its parameter sets.
  void learn(std::span<const std::byte> stream);

  Log& log_;
  bool annexB_;
  /// Of a byte stream, until there is a sequence header.
  ParameterSets parameterSets_;
  std::vector<std::byte> sequenceHeader_;
  bool warnedOfStart_ = false;
};

}  // namespace host
