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
#include "host/input/AvSource.h"
#include "host/input/Input.h"
#include "host/input/Interleaver.h"
#include "host/input/PresentationOrder.h"
#include "host/input/Timeline.h"
#include "host/input/messageKind.h"

namespace host {

/// Whatever libavformat opens: a file, a device, a URL. Makes the messages itself: metadata, the sequence headers, then
/// the frames of one video and one audio stream in the order of their decode times, moved alike so that the first is at
/// 0, or where continueAt() wants it. A frame's timestamp is its decode time; an AVC frame has its composition time in
/// the data, such that both together are its presentation time, rounded once. A sequence header that changes comes in
/// front of the first frame that needs it.
///
/// A live input that breaks off once media has come has ended. One that gives nothing for too long has failed. With
/// `reconnect` it is opened again instead, and goes on as much later as it was away.
class AvInput : public Input {
 public:
  /// Throws as AvSource does. `log` and `stop` outlive it.
  AvInput(const std::string& url, const InputOptions& options, Log& log, const StopSignal& stop);
  void continueAt(std::uint32_t timeMs) override { startMs_ = timeMs; }
  std::vector<std::byte> metadata() const override { return source_->metadata(); }
  std::optional<InputMessage> next() override;

 private:
  void setSource(std::unique_ptr<AvSource> source);
  void read();
  void queue(SourceFrame frame);
  void emit(const QueuedFrame& frame);
  /// Sequence headers of the tracks that have theirs and have not sent it.
  void announceTracks(std::uint32_t timeMs);
  std::uint32_t messageTime(std::int64_t dtsMs) const;
  /// At the end of a source: whether another one was opened. Throws InputError where the end is a failure.
  bool goOn();
  bool reconnect();
  std::unique_ptr<AvSource> openAgain();

  std::string url_;
  InputOptions options_;
  Log& log_;
  const StopSignal& stop_;
  AvLogRoute logRoute_;
  std::unique_ptr<AvSource> source_;
  Timeline timeline_;
  Interleaver interleaver_;
  /// Of each track of the source: whether its sequence header is out, and what orders its frames.
  std::vector<bool> announced_;
  std::vector<std::unique_ptr<PresentationOrder>> orders_;
  std::uint32_t startMs_ = 0;
  /// The earliest time for the next picture.
  std::int64_t nextVideoMs_ = std::numeric_limits<std::int64_t>::min();
  /// The first frame's time; known when it leaves the interleaver.
  std::optional<std::int64_t> baseMs_;
  /// No frame of the source lies before this.
  std::int64_t earliestMs_ = 0;
  /// When the last packet of the sources before came.
  InputWatch::Clock::time_point lastPacketAt_ = InputWatch::Clock::now();
  std::deque<OwnedMessage> outbox_;
  OwnedMessage current_;
};

}  // namespace host
