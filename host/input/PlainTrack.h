#pragma once

#include <optional>

#include "host/input/AvTrack.h"

namespace host {

/// The bytes in front of the frames of a codec without a sequence header.
struct PlainHeader {
  std::uint8_t messageType = 0;
  /// Of a video byte the codec id; the frame type comes with the frame.
  std::uint8_t codecByte = 0;
  /// A second byte, which VP6 has: how much of the picture is cut off to its right (high 4 bits) and below.
  std::optional<std::uint8_t> adjustment;
};

/// Nothing for a codec, or a form of it, that messages cannot carry in this way. An MP3 rate that a message has no code
/// for gets that of its family (ISO/IEC 11172-3 and 13818-3: 44100, 22050, 11025).
std::optional<PlainHeader> plainHeader(const AVCodecParameters& codec);

/// A codec whose frames stand behind a fixed header: MP3, Nellymoser, Speex, Sorenson H.263, VP6.
class PlainTrack : public AvTrack {
 public:
  explicit PlainTrack(const PlainHeader& header) : header_(header) {}

  std::uint8_t messageType() const override { return header_.messageType; }
  bool prepare(AVPacket& packet) override { return !payloadOf(packet).empty(); }
  void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const override;

 private:
  PlainHeader header_;
};

}  // namespace host
