#pragma once

#include <vector>

#include "host/input/AvTrack.h"
#include "host/input/avcConfig.h"
#include "util/tagHeader.h"

namespace host {

/// An H.264 stream. Message data: frame type (1 key frame, 2 other) and codec 7 in one byte, packet type 0 or 1, i24
/// composition time in ms, then the configuration record (ISO/IEC 14496-15, 5.3.3.1) or the NAL units, each after its
/// length. Start codes are replaced by lengths. The sequence header of a stream with start codes is made from its first
/// parameter sets; later ones stay in the frames. Frames before them are left out, with one warning. With a
/// configuration record, the NAL units of a frame decide whether it is a key frame; with start codes, its packet does.
class AvcTrack : public AvTrack {
 public:
  /// `log` outlives it. `codec` is used during the call only.
  AvcTrack(const AVCodecParameters& codec, Log& log);

  std::uint8_t messageType() const override { return qvs::util::kVideoTag; }
  bool prepare(AVPacket& packet) override;
  std::span<const std::byte> sequenceHeader() const override { return sequenceHeader_; }
  void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const override;

 private:
  /// Sets the packet's flag for key frames by its NAL units. The flags of a file may be wrong or missing, and no parser
  /// corrects them if AvSource reads without (docs/decisions.md, "Files that give whole frames are read without
  /// parsers").
  void markKeyPicture(AVPacket& packet);
  /// Makes the sequence header from a configuration record.
  void setConfiguration(std::span<const std::byte> record);
  /// Collects the parameter sets of a byte stream, and makes the sequence header when it has both kinds.
  void learn(std::span<const std::byte> stream);

  Log& log_;
  /// Whether NAL units come after start codes (ITU-T H.264, Annex B), and not after lengths.
  bool annexB_;
  /// Bytes of the length before each NAL unit; not used for start codes.
  std::size_t lengthSize_ = 4;
  /// Those found so far in a byte stream; not used once there is a sequence header.
  ParameterSets parameterSets_;
  /// Message data: 0x17, 0, composition time 0, and the configuration record. Empty before the first one.
  std::vector<std::byte> sequenceHeader_;
  bool hasWarned_ = false;
  bool hasWarnedOfPackets_ = false;
};

}  // namespace host
