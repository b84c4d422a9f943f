#include "host/exporting/Mp4File.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/mem.h>
}

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "host/errors.h"
#include "host/exporting/mp4Codec.h"
#include "host/files/tracks.h"
#include "packaging/tagCodec.h"
#include "util/fourcc.h"

namespace host {

using namespace krvo::container;
using namespace ruvo::k2rpkgutil;

namespace {

/// Finer than the milliseconds of tags: pictures of the same millisecond are put one tick apart.
constexpr int kVideoTimescale = 90000;
constexpr int kTicksPerMillisecond = kVideoTimescale / 1000;
/// In Hz, for an audio track without any frame or configuration among the first tags, and how many tags may wait for
/// one.
constexpr int kFallbackRate = 44100;
constexpr std::size_t kMaxWaiting = 1000;

void check(int error, const std::string& path) {
  if (error < 0) throw CommandError(fmt::format("'{}' cannot be written: {}", path, avErrorText(error)));
}

void setExtradata(AVCodecParameters& codec, std::span<const std::byte> bytes) {
  av_freep(&codec.extradata);
  codec.extradata = static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (codec.extradata == nullptr) throw std::bad_alloc();
  std::memcpy(codec.extradata, bytes.data(), bytes.size());
  codec.extradata_size = static_cast<int>(bytes.size());
}

/// The data of a tag after its codec header.
std::span<const std::byte> sampleOf(const RecordedTag& tag) {
  return tag.data.subspan(std::min<std::size_t>(tag.content.sampleOffset.value_or(0), tag.data.size()));
}

}  // namespace

void Mp4File::CloseOutput::operator()(AVFormatContext* context) const {
  avio_closep(&context->pb);
  avformat_free_context(context);
}

Mp4File::Mp4File(const std::string& path, const Movie& movie) : path_(path) {
  AVFormatContext* made = nullptr;
  check(avformat_alloc_output_context2(&made, nullptr, "mp4", path.c_str()), path);
  context_.reset(made);
  for (const auto& track : movie.tracks) {
    if (track->isVideo() || track->handler == "soun"_4cc) addStream(*track);
  }
  if (context_->nb_streams == 0) throw CommandError("the recording has neither video nor audio");
  check(avio_open(&context_->pb, path.c_str(), AVIO_FLAG_WRITE), path);
}

void Mp4File::addStream(const Track& track) {
  Output& output = track.isVideo() ? video_ : audio_;
  const AVCodecID codecId = codecOf(clearFormat(track));
  output.isVideo = track.isVideo();
  output.stream = avformat_new_stream(context_.get(), nullptr);
  if (output.stream == nullptr) throw std::bad_alloc();
  AVCodecParameters& codec = *output.stream->codecpar;
  codec.codec_id = codecId;
  if (output.isVideo) {
    codec.codec_type = AVMEDIA_TYPE_VIDEO;
    codec.width = static_cast<int>(track.width);
    codec.height = static_cast<int>(track.height);
    output.stream->time_base = {1, kVideoTimescale};
    output.clock = TrackClock(kVideoTimescale);
    return;
  }
  codec.codec_type = AVMEDIA_TYPE_AUDIO;
  if (!track.descriptions.empty()) {
    // The tags do not repeat the number of channels; only the sample entry says it.
    if (const auto* format = std::get_if<AudioFormat>(&track.descriptions.front()->format)) {
      av_channel_layout_default(&codec.ch_layout, format->channels);
    }
  }
}

void Mp4File::setAudioRate(int sampleRate) {
  if (sampleRate <= 0) throw CommandError("the audio does not tell its sample rate");
  AVCodecParameters& codec = *audio_.stream->codecpar;
  codec.sample_rate = sampleRate;
  audio_.clock = TrackClock(sampleRate, samplesPerFrame(codec.codec_id, sampleRate));
  codec.frame_size = static_cast<int>(audio_.clock.samplesPerFrame());
  audio_.stream->time_base = {1, sampleRate};
}

Mp4File::Output* Mp4File::outputFor(const TagContent& tag) {
  Output* const output = tag.isVideo() ? &video_ : tag.isAudio() ? &audio_ : nullptr;
  return output != nullptr && output->stream != nullptr ? output : nullptr;
}

void Mp4File::add(const RecordedTag& tag) {
  Output* const output = outputFor(tag.content);
  if (output == nullptr || isCommandFrame(tag.content.place.rawType, tag.content.firstByte)) return;
  if (tag.content.isSequenceHeader()) return setConfiguration(*output, tag);
  const bool isEnd = tag.content.isVideo() && tag.content.secondByte == kAvcEndOfSequence;
  if (isEnd || sampleOf(tag).empty()) return;
  if (waitsForRate(*output, tag)) return;
  start();
  write(*output, tag);
}

bool Mp4File::waitsForRate(const Output& output, const RecordedTag& tag) {
  if (started_ || audio_.stream == nullptr || audio_.clock.samplesPerFrame() != 0) return false;
  if (!output.isVideo) {
    setAudioRate(mpegSampleRate(sampleOf(tag)));
    return false;
  }
  // Audio that never comes must not keep the whole video in memory.
  if (waiting_.size() == kMaxWaiting) {
    setAudioRate(kFallbackRate);
    return false;
  }
  waiting_.push_back({tag.content, {tag.data.begin(), tag.data.end()}});
  return true;
}

void Mp4File::setConfiguration(Output& output, const RecordedTag& tag) {
  // The `moov` has one sample entry for each track, and it is already chosen.
  if (started_)
    throw CommandError(fmt::format("the configuration of the {} changes at {} ms, which MP4 cannot express here",
                                   output.isVideo ? "video" : "audio", tag.timestampMs()));
  setExtradata(*output.stream->codecpar, sampleOf(tag));
  if (!output.isVideo) setAudioRate(aacSampleRate(sampleOf(tag)));
}

void Mp4File::start() {
  if (started_) return;
  // There is no audio frame at all, but the track has to be written with some rate.
  if (audio_.stream != nullptr && audio_.clock.samplesPerFrame() == 0) setAudioRate(kFallbackRate);
  AVDictionary* options = nullptr;
  // `moov` first, so that players of a web server can start before they have the whole file.
  av_dict_set(&options, "movflags", "+faststart", 0);
  av_dict_set_int(&options, "video_track_timescale", kVideoTimescale, 0);
  const int error = avformat_write_header(context_.get(), &options);
  av_dict_free(&options);
  check(error, path_);
  started_ = true;
  for (const Waiting& tag : waiting_) write(video_, {.content = tag.content, .data = tag.data});
  waiting_.clear();
}

void Mp4File::write(Output& output, const RecordedTag& tag) {
  if (!firstTimestampMs_) firstTimestampMs_ = tag.timestampMs();
  const std::int64_t time = output.clock.place(tag.timestampMs() - *firstTimestampMs_);
  const auto sample = sampleOf(tag);
  // The time of this picture gives the duration of the one before.
  if (output.held) {
    output.pictureDuration = time - output.held->dts;
    send(output, output.pictureDuration);
  }
  output.held = makePacket();
  AVPacket& packet = *output.held;
  check(av_new_packet(&packet, static_cast<int>(sample.size())), path_);
  std::memcpy(packet.data, sample.data(), sample.size());
  packet.stream_index = output.stream->index;
  packet.dts = time;
  packet.pts = time;
  if (!output.isVideo || tag.content.isKeyFrame()) packet.flags |= AV_PKT_FLAG_KEY;
  if (output.isVideo) {
    packet.pts += std::int64_t{tag.content.compositionTime} * kTicksPerMillisecond;
  } else {
    send(output, output.clock.samplesPerFrame());
  }
}

void Mp4File::send(Output& output, std::int64_t duration) {
  const Packet packet = std::move(output.held);
  packet->duration = duration;
  // avformat_write_header() may have changed the time bases of the streams.
  const AVRational ownTimeBase =
      output.isVideo ? AVRational{1, kVideoTimescale} : AVRational{1, output.stream->codecpar->sample_rate};
  av_packet_rescale_ts(packet.get(), ownTimeBase, output.stream->time_base);
  check(av_interleaved_write_frame(context_.get(), packet.get()), path_);
}

void Mp4File::finish() {
  start();
  // The last picture gets the duration of the one before. With a duration of 0 players would not show it.
  if (video_.held) send(video_, std::max<std::int64_t>(video_.pictureDuration, kTicksPerMillisecond));
  check(av_write_trailer(context_.get()), path_);
  check(avio_closep(&context_->pb), path_);
}

}  // namespace host
