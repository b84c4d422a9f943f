#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "host/Log.h"
#include "host/input/avObjects.h"
#include "util/bytes.h"

namespace host {

/// One stream of an input on its way into messages: knows its codec's header bytes and sequence header.
class AvTrack {
 public:
  AvTrack() = default;
  virtual ~AvTrack() = default;
  AvTrack(const AvTrack&) = delete;
  AvTrack& operator=(const AvTrack&) = delete;

  /// The type of its messages, 8 or 9.
  virtual std::uint8_t messageType() const = 0;
  /// Takes a packet fresh from the demuxer, in file order: learns from it, and may change it. False where it can be no
  /// frame; the reason is in the log.
  virtual bool prepare(AVPacket& packet) = 0;
  /// The data of the message that goes ahead of the next frame that prepare() takes. Empty for a codec that has none,
  /// and before prepare() has learnt it. Changes where the stream's configuration does.
  virtual std::span<const std::byte> sequenceHeader() const { return {}; }
  /// Appends the data of a frame's message. `compositionMs` is presentation less decode time.
  virtual void writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const = 0;
};

/// Throws InputError for a codec that messages cannot carry. `log` outlives the track.
std::unique_ptr<AvTrack> makeTrack(const AVStream& stream, Log& log);

}  // namespace host
