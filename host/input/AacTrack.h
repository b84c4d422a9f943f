#pragma once

#include <vector>

#include "host/input/AvTrack.h"

namespace host {

/// AAC. Data: 0xAF, packet type 0 or 1, then the AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1), or a frame without
/// ADTS header. A filter of libavcodec takes such headers away and makes the configuration from the first of them.
class AacTrack : public AvTrack {
 public:
  AacTrack(const AVStream& stream, Log& log);

  std::uint8_t messageType() const override { return 8; }
  bool prepare(AVPacket& packet) override;
  std::span<const std::byte> sequenceHeader() const override { return sequenceHeader_; }
  void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const override;

 private:
  void takeConfiguration(std::span<const std::byte> configuration);
  bool refuse(const char* reason);

  Log& log_;
  BitstreamFilter filter_;
  std::vector<std::byte> sequenceHeader_;
  bool warnedOfChange_ = false;
  bool warnedOfRefusal_ = false;
};

}  // namespace host
