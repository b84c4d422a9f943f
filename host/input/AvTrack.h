#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "host/Log.h"
#include "host/input/avObjects.h"
#include "util/bytes.h"

namespace host {

/// Turns the packets of one stream into messages: knows the header bytes and the sequence header of its codec. Belongs
/// to the thread that reads the input. For each packet prepare() comes first, then sequenceHeader() and writeFrame() if
/// it returned true.
class AvTrack {
 public:
  AvTrack() = default;
  virtual ~AvTrack() = default;
  AvTrack(const AvTrack&) = delete;
  AvTrack& operator=(const AvTrack&) = delete;

  /// The type of its messages: 8 for audio, 9 for video.
  virtual std::uint8_t messageType() const = 0;
  /// Takes the next packet of the demuxer, in file order. Learns configurations from it, and may change it. Returns
  /// false if it cannot be made a frame; the log says why.
  virtual bool prepare(AVPacket& packet) = 0;
  /// The data of the sequence header that is valid for the packet that prepare() got last. Empty if the codec has none,
  /// and before it is known. A view, valid until prepare().
  virtual std::span<const std::byte> sequenceHeader() const { return {}; }
  /// Appends the data of a frame's message to `out`. `compositionMs` is the presentation time less the decode time.
  virtual void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const = 0;
};

/// Makes the converter for a stream. Throws InputError for a codec that messages cannot carry. `stream` and `log`
/// outlive the track.
std::unique_ptr<AvTrack> makeTrack(const AVStream& stream, Log& log);

}  // namespace host
