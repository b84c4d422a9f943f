#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/StopSignal.h"
#include "host/input/AvTrack.h"
#include "host/input/Input.h"
#include "host/input/InputWatch.h"
#include "host/input/LeadingFrames.h"
#include "host/input/ReadPause.h"
#include "host/input/avObjects.h"
#include "host/input/streamChoice.h"
#include "util/tagHeader.h"

namespace host {

/// A frame of a source, and the converter that makes a message of it. The converter stays valid after the track has got
/// another one.
struct SourceFrame {
  std::size_t track = 0;
  std::shared_ptr<const AvTrack> converter;
  RawFrame frame;
};

/// An input of libavformat, from one opening to its end: the packets of one video and one audio stream. Belongs to one
/// thread.
class AvSource {
 public:
  /// Opens the input, which may take twice the stall limit. Throws InputError if the input cannot be opened or has
  /// nothing that can be recorded, and UsageError for options that do not fit it. If only one of two tracks can be
  /// recorded, the log gets a warning. `log` and `stop` outlive it.
  AvSource(const std::string& url, const InputOptions& options, Log& log, const StopSignal& stop);

  /// Tracks are counted from 0, video first. All `track` arguments are below trackCount().
  std::size_t trackCount() const { return tracks_.size(); }
  bool isVideo(std::size_t track) const { return tracks_[track].converter->messageType() == qvs::util::kVideoTag; }
  const AVCodecParameters& codec(std::size_t track) const { return *streamOf(track).codecpar; }
  /// The first sequence header of the track. Empty if its codec has none, or before it is known. Valid until read().
  std::span<const std::byte> firstHeader(std::size_t track) const { return tracks_[track].firstHeader; }
  /// The data of an `onMetaData` message for the streams as they are now.
  std::vector<std::byte> metadata() const;

  /// Whether it comes from a network and has no known length; a length that an RTMP publisher announces does not count.
  bool isLive() const { return isLive_; }
  /// When the connection was open, and when the last packet was received; nothing if none was.
  InputWatch::Clock::time_point openedAt() const { return openedAt_; }
  std::optional<InputWatch::Clock::time_point> lastPacketAt() const { return lastPacketAt_; }

  /// Reads one packet. Returns the frames whose times are known by now: none, one or several. A failure of the input
  /// ends it, and so does a codec that changes in a way that libavcodec cannot follow: see hasEnded() and failure().
  std::vector<SourceFrame> read();
  /// Closes the connection, so that the input can be opened again. No call but failure(), isLive() and the times after
  /// it.
  void close() { format_.reset(); }
  /// Whether read() has met the end or a failure. It returns nothing more then.
  bool hasEnded() const { return hasEnded_; }
  /// Whether the input might still give data: the end is a stall, or a codec that changed.
  bool isGivenUp() const { return isGivenUp_; }
  /// Why reading failed; empty if the input ended normally or was stopped.
  const std::string& failure() const { return failure_; }

 private:
  struct Track {
    int streamIndex;
    std::shared_ptr<AvTrack> converter;
    /// The codec for which the converter was made.
    AVCodecID codecId = AV_CODEC_ID_NONE;
    /// Frames whose decode times are not known yet.
    LeadingFrames leading = {};
    std::vector<std::byte> firstHeader = {};
    std::vector<std::byte> lastHeader = {};
  };

  const AVStream& streamOf(std::size_t track) const { return *format_->streams[tracks_[track].streamIndex]; }
  /// Throws as the constructor does. Sets openedAt_.
  FormatContext open(const InputOptions& options);
  /// Reads the next packet and prepares it. Returns its track; nothing if it is no frame, or if the source ends.
  std::optional<std::size_t> receive(AVPacket& packet);
  /// Reads the next packet, after a pause. Returns the status of libav.
  int readPacket(AVPacket& packet);
  /// Makes the tracks of the chosen streams, and warns of one that cannot be recorded.
  void addTracks();
  /// The track to which the packet belongs; nothing if it is not recorded. May call adopt().
  std::optional<std::size_t> trackOf(const AVPacket& packet);
  /// Lets a stream that appeared later continue the track of its kind. Returns that track.
  std::optional<std::size_t> adopt(int streamIndex);
  /// Ends the source after a status of libav.
  void end(int error);
  /// Appends the frames of a track to `frames`.
  void give(std::size_t track, std::vector<RawFrame> ready, std::vector<SourceFrame>& frames) const;
  /// The sequence header of the packet just prepared, if it differs from the one before; empty otherwise.
  std::vector<std::byte> changedHeader(Track& track) const;

  std::string url_;
  Log& log_;
  const StopSignal& stop_;
  InputWatch watch_;
  InputWatch::Clock::time_point openedAt_;
  /// When the last read returned.
  InputWatch::Clock::time_point readAt_;
  std::optional<InputWatch::Clock::time_point> lastPacketAt_;
  FormatContext format_;
  /// The chosen streams, by which adopt() knows the kinds that are recorded.
  StreamChoice choice_;
  /// Streams from this number on appeared later, as when a transport stream gets new ones.
  unsigned streamsAtStart_;
  bool isLive_;
  /// Nothing if the input must be read at once.
  std::optional<ReadPause> pause_;
  std::vector<Track> tracks_;
  /// A key frame has come.
  bool canDecode_ = false;
  bool hasEnded_ = false;
  bool isGivenUp_ = false;
  std::string failure_;
};

}  // namespace host
