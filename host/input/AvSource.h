#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/StopSignal.h"
#include "host/input/AvTrack.h"
#include "host/input/Input.h"
#include "host/input/LeadingFrames.h"
#include "host/input/avObjects.h"
#include "host/input/streamChoice.h"
#include "util/tagHeader.h"

namespace host {

/// Tells libav, in the midst of a wait, that the user wants to stop or that nothing has come for too long.
class InputWatch {
 public:
  using Clock = std::chrono::steady_clock;

  /// A `limit` of 0 is none. `stop` outlives it.
  InputWatch(const StopSignal& stop, std::chrono::milliseconds limit) : stop_(stop), limit_(limit) {}
  void restart() { start_ = Clock::now(); }
  bool isStalled() const { return limit_.count() > 0 && Clock::now() - start_.load() > limit_; }
  /// libav was told. What it still gives came earlier.
  bool wasInterrupted() const { return interrupted_; }
  std::chrono::milliseconds limit() const { return limit_; }
  /// For libav, which may ask on threads of its own. It keeps the address of this.
  AVIOInterruptCB callback();

 private:
  const StopSignal& stop_;
  std::chrono::milliseconds limit_;
  std::atomic<Clock::time_point> start_ = Clock::now();
  std::atomic<bool> interrupted_ = false;
};

/// A frame as it comes from a source, and what makes a message of it.
struct SourceFrame {
  std::size_t track = 0;
  std::shared_ptr<const AvTrack> converter;
  RawFrame frame;
};

/// An input of libavformat from one opening to its end: the packets of one video and one audio stream.
class AvSource {
 public:
  /// Throws InputError where the input cannot be opened or has nothing that can be recorded, and UsageError for options
  /// that do not fit it. A track that cannot be recorded costs a warning where there is another. `log` and `stop`
  /// outlive it.
  AvSource(const std::string& url, const InputOptions& options, Log& log, const StopSignal& stop);

  std::size_t trackCount() const { return tracks_.size(); }
  bool isVideo(std::size_t track) const { return tracks_[track].converter->messageType() == qvs::util::kVideoTag; }
  const AVCodecParameters& codec(std::size_t track) const { return *streamOf(track).codecpar; }
  /// The sequence header with which the track begins; empty where there is none, or not yet.
  std::span<const std::byte> firstHeader(std::size_t track) const { return tracks_[track].firstHeader; }
  std::vector<std::byte> metadata() const;

  /// Comes from a network, and has no end that is known.
  bool isLive() const { return isLive_; }
  /// When the other side began to answer, and when its last packet came; nothing where none came.
  InputWatch::Clock::time_point openedAt() const { return openedAt_; }
  std::optional<InputWatch::Clock::time_point> lastPacketAt() const { return lastPacketAt_; }

  /// Takes one packet, and answers the frames that need not wait any more; none where it was no frame, and at the end.
  std::vector<SourceFrame> read();
  /// Lets go of what it was opened from, which may then be opened again. No more reading and no more metadata.
  void close() { format_.reset(); }
  bool hasEnded() const { return hasEnded_; }
  bool isStalled() const { return isStalled_; }
  /// Why reading failed; empty where the input came to its end.
  const std::string& failure() const { return failure_; }

 private:
  struct Track {
    int streamIndex;
    std::shared_ptr<AvTrack> converter;
    AVCodecID codecId = AV_CODEC_ID_NONE;
    LeadingFrames leading = {};
    std::vector<std::byte> firstHeader = {};
    std::vector<std::byte> lastHeader = {};
  };

  const AVStream& streamOf(std::size_t track) const { return *format_->streams[tracks_[track].streamIndex]; }
  FormatContext open(const InputOptions& options);
  bool isStall(int error) const;
  std::string describe(int error) const;
  void addTracks();
  std::optional<std::size_t> trackOf(const AVPacket& packet);
  /// Lets a stream that comes up on the way follow the one of its kind.
  std::optional<std::size_t> adopt(int streamIndex);
  void end(int error, std::vector<SourceFrame>& frames);
  void give(std::size_t track, std::vector<RawFrame> ready, std::vector<SourceFrame>& frames) const;
  /// The header that the track has with the packet just prepared, where that is a new one.
  std::vector<std::byte> changedHeader(Track& track) const;

  std::string url_;
  Log& log_;
  const StopSignal& stop_;
  InputWatch watch_;
  InputWatch::Clock::time_point openedAt_;
  std::optional<InputWatch::Clock::time_point> lastPacketAt_;
  FormatContext format_;
  StreamChoice choice_;
  unsigned streamsAtStart_;
  bool isLive_;
  std::vector<Track> tracks_;
  bool hasEnded_ = false;
  bool isStalled_ = false;
  std::string failure_;
};

}  // namespace host
