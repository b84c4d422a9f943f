#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/StopSignal.h"
#include "host/input/AvLogRoute.h"
#include "host/input/AvTrack.h"
#include "host/input/Input.h"
#include "host/input/Interleaver.h"
#include "host/input/LeadingFrames.h"
#include "host/input/Timeline.h"
#include "host/input/avObjects.h"
#include "host/input/streamChoice.h"

namespace host {

/// Whatever libavformat opens: a file, a device, a URL. Makes the messages itself: metadata, the sequence headers, then
/// the frames of one video and one audio stream in the order of their decode times, moved alike so that the first is at
/// 0, or where continueAt() wants it. A frame's timestamp is its decode time; an AVC frame has its composition time in
/// the data, such that both together are its presentation time, rounded once.
class AvInput : public Input {
 public:
  /// Throws InputError where the input cannot be opened or has nothing that can be recorded, and UsageError for `maps`
  /// that do not fit it (see chooseStreams()). `log` and `stop` outlive it.
  AvInput(const std::string& url, const std::vector<std::string>& maps, Log& log, const StopSignal& stop);
  void continueAt(std::uint32_t timeMs) override { startMs_ = timeMs; }
  std::optional<InputMessage> next() override;

 private:
  struct Message {
    std::uint8_t type;
    std::uint32_t timeMs;
    std::vector<std::byte> data;
  };
  struct Track {
    int streamIndex;
    std::unique_ptr<AvTrack> converter;
    LeadingFrames leading = {};
    bool announced = false;
    /// The earliest time for its next frame.
    std::int64_t nextMs = std::numeric_limits<std::int64_t>::min();
  };

  void addTrack(int streamIndex);
  /// Takes one packet, or notes the end.
  void readPacket();
  void queue(std::size_t track, Packet packet);
  void schedule(std::size_t track, std::vector<RawFrame> frames);
  void emit(const QueuedFrame& frame);
  /// Sequence headers of the tracks that have theirs and have not sent it.
  void announceTracks(std::uint32_t timeMs);
  /// The onMetaData message.
  void sendMetadata();
  std::uint32_t messageTime(std::int64_t dtsMs) const;

  Log& log_;
  const StopSignal& stop_;
  AvLogRoute logRoute_;
  FormatContext format_;
  StreamChoice choice_;
  std::vector<Track> tracks_;
  Timeline timeline_;
  Interleaver interleaver_;
  std::uint32_t startMs_ = 0;
  /// The first frame's time; known when it leaves the interleaver.
  std::optional<std::int64_t> baseMs_;
  bool ended_ = false;
  /// What read errors have to say once all frames before them are out.
  std::optional<std::string> failure_;
  std::deque<Message> outbox_;
  Message current_ = {};
};

}  // namespace host
