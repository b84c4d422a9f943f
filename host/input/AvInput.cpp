#include "host/input/AvInput.h"

extern "C" {
#include <libavutil/error.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <new>
#include <span>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "host/input/onMetaData.h"

namespace host {
namespace {

/// Video and audio.
constexpr std::size_t kMaxTracks = 2;
constexpr std::uint8_t kVideo = 9;

/// A file whose name looks like a URL is a file all the same.
std::string urlOf(const std::string& input) {
  std::error_code ignored;
  return std::filesystem::exists(input, ignored) ? "file:" + input : input;
}

FormatContext openFormat(const std::string& input, const StopSignal& stop) {
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  context->interrupt_callback.callback = [](void* signal) {
    return static_cast<const StopSignal*>(signal)->requested() ? 1 : 0;
  };
  context->interrupt_callback.opaque = const_cast<StopSignal*>(&stop);
  // On failure this frees the context.
  int error = avformat_open_input(&context, urlOf(input).c_str(), nullptr, nullptr);
  FormatContext format(context);
  if (error >= 0) error = avformat_find_stream_info(format.get(), nullptr);
  if (error < 0) {
    const std::string reason = stop.requested() ? "stopped before it was open" : avErrorText(error);
    throw InputError(fmt::format("cannot open '{}': {}", input, reason));
  }
  return format;
}

}  // namespace

AvInput::AvInput(const std::string& url, const std::vector<std::string>& maps, Log& log, const StopSignal& stop)
    : log_(log),
      stop_(stop),
      logRoute_(log),
      format_(openFormat(url, stop)),
      choice_(chooseStreams(*format_, maps)),
      timeline_(kMaxTracks, log),
      interleaver_(0) {
  for (AVStream* const stream : std::span(format_->streams, format_->nb_streams)) stream->discard = AVDISCARD_ALL;
  for (const int index : {choice_.video, choice_.audio}) {
    if (index != -1) addTrack(index);
  }
  interleaver_ = Interleaver(tracks_.size());
}

void AvInput::addTrack(int streamIndex) {
  AVStream& stream = *format_->streams[streamIndex];
  stream.discard = AVDISCARD_DEFAULT;
  tracks_.push_back({.streamIndex = streamIndex, .converter = makeTrack(stream, log_)});
}

std::optional<InputMessage> AvInput::next() {
  while (outbox_.empty()) {
    if (const auto frame = interleaver_.pop(ended_)) {
      emit(*frame);
    } else if (!ended_) {
      readPacket();
    } else if (failure_) {
      throw InputError(*failure_);
    } else {
      return std::nullopt;
    }
  }
  current_ = std::move(outbox_.front());
  outbox_.pop_front();
  return InputMessage{.type = current_.type, .timeMs = current_.timeMs, .data = current_.data};
}

void AvInput::readPacket() {
  using std::chrono::steady_clock;
  Packet packet = makePacket();
  const int error = stop_.requested() ? AVERROR_EXIT : av_read_frame(format_.get(), packet.get());
  if (error == AVERROR(EAGAIN)) {
    stop_.waitUntil(steady_clock::now() + std::chrono::milliseconds(5));
    return;
  }
  if (error < 0) {
    ended_ = true;
    for (std::size_t track = 0; track < tracks_.size(); ++track) schedule(track, tracks_[track].leading.flush());
    if (error != AVERROR_EOF && !stop_.requested()) {
      failure_ = fmt::format("cannot read '{}' any further: {}", format_->url, avErrorText(error));
    }
    return;
  }
  const auto owner = std::find_if(tracks_.begin(), tracks_.end(),
                                  [&](const Track& track) { return track.streamIndex == packet->stream_index; });
  if (owner != tracks_.end()) queue(static_cast<std::size_t>(owner - tracks_.begin()), std::move(packet));
}

void AvInput::queue(std::size_t track, Packet packet) {
  const RawTimes raw = {.dts = packet->dts,
                        .pts = packet->pts,
                        .duration = packet->duration,
                        .timeBase = format_->streams[tracks_[track].streamIndex]->time_base};
  if (!tracks_[track].converter->prepare(*packet)) return;
  schedule(track, tracks_[track].leading.push({.times = raw, .packet = std::move(packet)}));
}

void AvInput::schedule(std::size_t track, std::vector<RawFrame> frames) {
  for (RawFrame& frame : frames) {
    FrameTimes times = timeline_.map(track, frame.times);
    if (tracks_[track].converter->messageType() == kVideo) {
      // A frame at the very millisecond of the key frame behind it could take that one's place at the head of a
      // fragment, and the recording would then have no fragment any more.
      times.dtsMs = std::max(times.dtsMs, tracks_[track].nextMs);
      tracks_[track].nextMs = times.dtsMs + 1;
    }
    interleaver_.push({.track = track, .times = times, .packet = std::move(frame.packet)});
  }
}

void AvInput::emit(const QueuedFrame& frame) {
  if (!baseMs_) {
    baseMs_ = frame.times.dtsMs;
    sendMetadata();
  }
  constexpr std::int64_t kMaxComposition = 0x7FFFFF;
  const std::uint32_t timeMs = messageTime(frame.times.dtsMs);
  announceTracks(timeMs);
  const AvTrack& converter = *tracks_[frame.track].converter;
  const std::int64_t compositionMs = frame.times.ptsMs - frame.times.dtsMs;
  qvs::util::ByteWriter data;
  converter.writeFrame(data, *frame.packet,
                       static_cast<std::int32_t>(std::clamp(compositionMs, -kMaxComposition - 1, kMaxComposition)));
  outbox_.push_back({.type = converter.messageType(), .timeMs = timeMs, .data = data.take()});
}

void AvInput::announceTracks(std::uint32_t timeMs) {
  for (Track& track : tracks_) {
    const auto header = track.converter->sequenceHeader();
    if (track.announced || header.empty()) continue;
    track.announced = true;
    outbox_.push_back(
        {.type = track.converter->messageType(), .timeMs = timeMs, .data = {header.begin(), header.end()}});
  }
}

void AvInput::sendMetadata() {
  constexpr std::uint8_t kScriptData = 18;
  outbox_.push_back({.type = kScriptData, .timeMs = startMs_, .data = makeOnMetaData(*format_, choice_)});
}

std::uint32_t AvInput::messageTime(std::int64_t dtsMs) const {
  // A track that begins late in the file, and earlier in time than what is out already, cannot go below the start.
  return startMs_ + static_cast<std::uint32_t>(std::max<std::int64_t>(dtsMs - *baseMs_, 0));
}

}  // namespace host
