#pragma once

#include <optional>

#include "host/input/AvTrack.h"

namespace host {

/// The bytes before the frames of a codec without a sequence header.
struct PlainHeader {
  /// 8 or 9.
  std::uint8_t messageType = 0;
  /// For audio the complete first byte. For video the codec number; the frame type is added for each frame.
  std::uint8_t codecByte = 0;
  /// The second byte of VP6: how many pixels to cut off at the right (high 4 bits) and at the bottom (low 4 bits).
  std::optional<std::uint8_t> adjustment;
};

/// Returns the header for a codec; nothing if messages cannot carry it, or not with these parameters. An MP3 rate that
/// the rate field cannot express gets the one of its family (ISO/IEC 11172-3 and 13818-3: 44100, 22050, 11025).
std::optional<PlainHeader> plainHeader(const AVCodecParameters& codec);

/// A stream whose messages are a fixed header and the frame: MP3, Nellymoser, Speex, Sorenson H.263, VP6.
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
