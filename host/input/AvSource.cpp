#include "host/input/AvSource.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mathematics.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/errors.h"
#include "host/input/AvLogRoute.h"
#include "host/input/onMetaData.h"
#include "host/input/openFormat.h"

namespace host {
namespace {

using std::chrono::milliseconds;

milliseconds stallLimit(const std::string& input, const InputOptions& options) {
  return options.stallTimeout.value_or(isFromNetwork(input) ? InputOptions::kLiveStall : milliseconds(0));
}

/// In the time base of the stream. libavformat knows none for the audio that it read before it knew the format, all of
/// which may be in one packet of a transport stream with one time.
std::int64_t durationOf(const AVPacket& packet, const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  if (packet.duration > 0 || codec.frame_size <= 0 || codec.sample_rate <= 0) return packet.duration;
  return av_rescale_q_rnd(codec.frame_size, {1, codec.sample_rate}, stream.time_base, AV_ROUND_NEAR_INF);
}

}  // namespace

AvSource::AvSource(const std::string& url, const InputOptions& options, Log& log, const StopSignal& stop)
    : url_(url),
      log_(log),
      stop_(stop),
      watch_(stop, stallLimit(url, options)),
      format_(open(options)),
      choice_(chooseStreams(*format_, options.maps)),
      streamsAtStart_(format_->nb_streams),
      // Over RTMP a length is only what a publisher announced: an encoder that sends a file in real time does so.
      isLive_(isFromNetwork(url) && (format_->duration <= 0 || url.starts_with("rtmp"))) {
  // libavformat then skips the packets of all streams. addTracks() turns those on that are recorded.
  for (AVStream* const stream : std::span(format_->streams, format_->nb_streams)) stream->discard = AVDISCARD_ALL;
  addTracks();
  if (isLive_ && options.mayGather) pause_.emplace(stop);
  readAt_ = InputWatch::Clock::now();
}

FormatContext AvSource::open(const InputOptions& options) {
  OpenedFormat opened = openFormat(url_, options.avOptions, watch_, stop_);
  openedAt_ = opened.at;
  return std::move(opened.format);
}

void AvSource::addTracks() {
  // One track that cannot be recorded must not cost the other: it is refused only if no track is left.
  std::optional<InputError> refusal;
  for (int* const index : {&choice_.video, &choice_.audio}) {
    if (*index == -1) continue;
    AVStream& stream = *format_->streams[*index];
    try {
      tracks_.push_back({.streamIndex = *index, .converter = makeTrack(stream, log_)});
    } catch (const InputError& error) {
      if (refusal) throw InputError(*refusal);
      refusal = error;
      *index = -1;
      continue;
    }
    stream.discard = AVDISCARD_DEFAULT;
    tracks_.back().codecId = stream.codecpar->codec_id;
    const auto header = tracks_.back().converter->sequenceHeader();
    tracks_.back().firstHeader.assign(header.begin(), header.end());
    tracks_.back().lastHeader = tracks_.back().firstHeader;
  }
  if (!refusal) return;
  if (tracks_.empty()) throw InputError(*refusal);
  log_.warning(fmt::format("{}; the recording has {} only", refusal->what(), isVideo(0) ? "video" : "audio"));
}

std::vector<std::byte> AvSource::metadata() const {
  return makeOnMetaData(*format_, choice_);
}

int AvSource::readPacket(AVPacket& packet) {
  if (pause_) pause_->await();
  // The limit is for the source. Our pause does not count, nor does a disk that let us wait before this read.
  watch_.leaveOut(InputWatch::Clock::now() - readAt_);
  if (stop_.requested()) return AVERROR_EXIT;
  if (pause_) pause_->beginRead();
  const int error = av_read_frame(format_.get(), &packet);
  if (pause_) pause_->endRead(error < 0 ? 0 : static_cast<std::size_t>(packet.size));
  readAt_ = InputWatch::Clock::now();
  return error;
}

std::vector<SourceFrame> AvSource::read() {
  const AvLogRoute::CodecSilence silence(!canDecode_);
  std::vector<SourceFrame> frames;
  Packet packet = makePacket();
  if (const auto track = receive(*packet)) {
    const AVStream& stream = streamOf(*track);
    // After prepare(): a filter may change the packet's times.
    const RawTimes times{.dts = packet->dts,
                         .pts = packet->pts,
                         .duration = durationOf(*packet, stream),
                         .timeBase = stream.time_base,
                         .wrapBits = stream.pts_wrap_bits};
    RawFrame frame{.times = times, .packet = std::move(packet), .newHeader = changedHeader(tracks_[*track])};
    give(*track, tracks_[*track].leading.push(std::move(frame)), frames);
  }
  if (hasEnded_) {
    for (std::size_t track = 0; track < tracks_.size(); ++track) give(track, tracks_[track].leading.flush(), frames);
  }
  return frames;
}

std::optional<std::size_t> AvSource::receive(AVPacket& packet) try {
  const int error = readPacket(packet);
  // Some devices do not wait for data.
  if (error == AVERROR(EAGAIN) && !watch_.isStalled()) {
    stop_.waitUntil(InputWatch::Clock::now() + milliseconds(5));
    // This wait is for the source.
    readAt_ = InputWatch::Clock::now();
    return std::nullopt;
  }
  if (error < 0) {
    end(error);
    return std::nullopt;
  }
  // A packet that was buffered before the interruption would make the gap of a reconnect too short.
  if (!watch_.wasInterrupted()) {
    watch_.restart(readAt_);
    lastPacketAt_ = readAt_;
  }
  const auto track = trackOf(packet);
  canDecode_ = canDecode_ || (track && isVideo(*track) && (packet.flags & AV_PKT_FLAG_KEY) != 0);
  return track && tracks_[*track].converter->prepare(packet) ? track : std::nullopt;
} catch (const InputError& error) {
  // An end and no exception: the frames that wait, here and in AvInput, came before it.
  hasEnded_ = isGivenUp_ = true;
  failure_ = error.what();
  return std::nullopt;
}

std::optional<std::size_t> AvSource::trackOf(const AVPacket& packet) {
  for (std::size_t track = 0; track < tracks_.size(); ++track) {
    if (tracks_[track].streamIndex != packet.stream_index) continue;
    // libavformat may change the codec of a stream in place, for example if a program of a transport stream changes.
    return codec(track).codec_id == tracks_[track].codecId ? track : adopt(packet.stream_index);
  }
  // A stream that was there from the start was not chosen. A new one may take the place of one that ended.
  return static_cast<unsigned>(packet.stream_index) < streamsAtStart_ ? std::nullopt : adopt(packet.stream_index);
}

std::optional<std::size_t> AvSource::adopt(int streamIndex) {
  AVStream& stream = *format_->streams[streamIndex];
  for (std::size_t track = 0; track < tracks_.size(); ++track) {
    if (streamOf(track).codecpar->codec_type != stream.codecpar->codec_type) continue;
    // libavformat does not probe streams that appear later. The picture size of the old stream is a good guess.
    if (stream.codecpar->width == 0) {
      stream.codecpar->width = codec(track).width;
      stream.codecpar->height = codec(track).height;
    }
    try {
      tracks_[track].converter = makeTrack(stream, log_);
    } catch (const InputError& error) {
      log_.warning(error.what());
      break;
    }
    tracks_[track].streamIndex = streamIndex;
    tracks_[track].codecId = stream.codecpar->codec_id;
    (isVideo(track) ? choice_.video : choice_.audio) = streamIndex;
    return track;
  }
  // No track of its kind, or a codec that cannot be recorded: its packets are not even read any more.
  stream.discard = AVDISCARD_ALL;
  return std::nullopt;
}

void AvSource::end(int error) {
  hasEnded_ = true;
  // An interrupted call may also return the end of the file, so the watch decides and not the error alone.
  isGivenUp_ = watch_.isStall(error);
  if ((error == AVERROR_EOF && !isGivenUp_) || stop_.requested()) return;
  failure_ = fmt::format("cannot read '{}' any further: {}", url_, watch_.reasonOf(error));
}

void AvSource::give(std::size_t track, std::vector<RawFrame> ready, std::vector<SourceFrame>& frames) const {
  for (RawFrame& frame : ready) {
    frames.push_back({.track = track, .converter = tracks_[track].converter, .frame = std::move(frame)});
  }
}

std::vector<std::byte> AvSource::changedHeader(Track& track) const {
  const auto header = track.converter->sequenceHeader();
  if (std::ranges::equal(header, track.lastHeader)) return {};
  track.lastHeader.assign(header.begin(), header.end());
  // The first header is announced by firstHeader(), before the first frame, and is no change.
  if (track.firstHeader.empty()) {
    track.firstHeader = track.lastHeader;
    return {};
  }
  return track.lastHeader;
}

}  // namespace host
