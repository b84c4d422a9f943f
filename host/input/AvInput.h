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

/// An input that libavformat opens: a file, a device, a URL. It makes the messages: metadata, then sequence headers,
/// then the frames of one video and one audio stream in the order of their decode times. All times are moved by the
/// same distance, so that the first frame is at 0, or at the time of continueAt(). The timestamp of a message is the
/// decode time; an AVC message contains the composition time, and the sum is the presentation time, which is rounded
/// once. A sequence header that changes is sent before the first frame that needs it.
///
/// If a live input breaks off after it has given media, that is its end. An input that gives no data for too long has
/// failed. With `reconnect` a live input is opened again instead, and its times continue after the time that it was
/// away. Belongs to one thread, which has one such object at a time (AvLogRoute).
class AvInput : public Input {
 public:
  /// Opens the input. Throws as the constructor of AvSource does. `log` and `stop` outlive it.
  AvInput(const std::string& url, const InputOptions& options, Log& log, const StopSignal& stop);
  void continueAt(std::uint32_t timeMs) override { startMs_ = timeMs; }
  std::vector<std::byte> metadata() const override { return source_->metadata(); }
  std::optional<bool> hasVideo() const override;
  bool isLive() const override { return source_->isLive(); }
  std::uint32_t newClocks() const override { return newClocks_; }
  std::optional<InputMessage> next() override;

 private:
  /// Makes `source` the one to read from. Its tracks have sent nothing yet.
  void setSource(std::unique_ptr<AvSource> source);
  /// Reads one packet. At the end of the source, also queues the frames that wait for their presentation time.
  void read();
  /// Puts a frame on the time line and into the queues. `frame` comes in decode order of its track.
  void queue(SourceFrame frame);
  /// Turns a frame into messages in the outbox. The sequence header comes first if the frame has a new one.
  void emit(const QueuedFrame& frame);
  /// Sends the first sequence header of each track that has one and has not sent it.
  void announceTracks(std::uint32_t timeMs);
  /// Turns a time of the time line into the time of a message, in ms.
  std::uint32_t messageTime(std::int64_t dtsMs) const;
  /// Called at the end of a source. Returns whether another one was opened. Throws InputError if the end is a failure.
  bool openNext();
  /// Opens the input again. Returns false if the user stops the attempts.
  bool reconnect();
  /// Tries until it succeeds. Returns null after a request to stop.
  std::unique_ptr<AvSource> openAgain();

  std::string url_;
  InputOptions options_;
  Log& log_;
  const StopSignal& stop_;
  /// Before the source, which may log already while it is opened.
  AvLogRoute logRoute_;
  std::unique_ptr<AvSource> source_;
  Timeline timeline_;
  Interleaver interleaver_;
  /// By track of the source: whether its sequence header is sent, and what finds its presentation times, if needed.
  std::vector<bool> announced_;
  std::vector<std::unique_ptr<PresentationOrder>> orders_;
  /// Time in ms of the first message.
  std::uint32_t startMs_ = 0;
  /// The earliest time for the next video frame, on the time line in ms.
  std::int64_t nextVideoMs_ = std::numeric_limits<std::int64_t>::min();
  /// Time of the first frame, on the time line in ms; nothing until it leaves the interleaver.
  std::optional<std::int64_t> baseMs_;
  /// Number of new clocks up to the last frame that left the interleaver.
  std::uint32_t newClocks_ = 0;
  /// Frames of the source get no earlier time than this, on the time line in ms.
  std::int64_t earliestMs_ = 0;
  /// The next frame is the first one of a source that was opened again.
  bool isAfterBreak_ = false;
  /// When the last packet of the earlier sources was received.
  InputWatch::Clock::time_point lastPacketAt_ = InputWatch::Clock::now();
  /// Messages that next() has not returned yet.
  std::deque<OwnedMessage> outbox_;
  /// The message that next() returned last, which owns its data.
  OwnedMessage current_;
};

}  // namespace host
