#include "host/exporting/Mp4File.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/mem.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "host/errors.h"
#include "host/files/tracks.h"
#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"
#include "packaging/tagCodec.h"
#include "util/fourcc.h"

namespace host {

using namespace krvo::container;
using namespace ruvo::k2rpkgutil;
using qvs::util::toText;

namespace {

/// Finer than the milliseconds of tags, so that frames that share one can stand behind one another.
constexpr int kVideoTimescale = 90000;
constexpr int kTicksAMillisecond = kVideoTimescale / 1000;
/// Of an audio track that has nothing to say for so long.
constexpr int kUsualRate = 44100;
constexpr std::size_t kMostWaiting = 1000;

void check(int error, const std::string& path) {
  if (error < 0) throw CommandError(fmt::format("'{}' cannot be written: {}", path, avErrorText(error)));
}

AVCodecID codecOf(FourCC format) {
  if (isAvcFormat(format)) return AV_CODEC_ID_H264;
  if (format == "mp4a"_4cc) return AV_CODEC_ID_AAC;
  if (format == ".mp3"_4cc) return AV_CODEC_ID_MP3;
  throw CommandError(fmt::format("MP4 does not have the codec '{}'; a .mtg file takes it", toText(format)));
}

/// Frames of 1024 samples (ISO/IEC 14496-3, 4.5.1.1), or 1152, and 576 at the low rates of MPEG-2 (ISO/IEC 13818-3).
std::int64_t samplesAFrame(AVCodecID codec, int sampleRate) {
  if (codec == AV_CODEC_ID_AAC) return 1024;
  return sampleRate < 32000 ? 576 : 1152;
}

/// Of an MPEG audio frame (ISO/IEC 11172-3, 2.4.1.3; ISO/IEC 13818-3, 2.4.2.3), in hertz; 0 where it is none. The codec
/// byte of a tag knows four rates only.
int mpegSampleRate(std::span<const std::byte> frame) {
  constexpr int kRates[] = {44100, 48000, 32000, 0};
  if (frame.size() < 4 || frame[0] != std::byte{0xFF} || (frame[1] & std::byte{0xE0}) != std::byte{0xE0}) return 0;
  const int rate = kRates[std::to_integer<unsigned>(frame[2] >> 2 & std::byte{3})];
  switch (std::to_integer<unsigned>(frame[1] >> 3 & std::byte{3})) {
    case 3:
      return rate;
    case 2:
      return rate / 2;
    case 0:
      return rate / 4;
    default:
      return 0;
  }
}

/// Of the frames themselves; spectral band replication doubles it when they are played.
int aacSampleRate(std::span<const std::byte> configuration) {
  AacConfig config;
  config.data = configuration.data();
  config.dataSize = static_cast<std::int32_t>(configuration.size());
  readAacConfig(config);
  return config.sampleRate;
}

void setExtradata(AVCodecParameters& codec, std::span<const std::byte> bytes) {
  av_freep(&codec.extradata);
  codec.extradata = static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (codec.extradata == nullptr) throw std::bad_alloc();
  std::memcpy(codec.extradata, bytes.data(), bytes.size());
  codec.extradata_size = static_cast<int>(bytes.size());
}

/// What a tag carries behind its codec header.
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
    return;
  }
  codec.codec_type = AVMEDIA_TYPE_AUDIO;
  if (!track.descriptions.empty()) {
    if (const auto* format = std::get_if<AudioFormat>(&track.descriptions.front()->format)) {
      av_channel_layout_default(&codec.ch_layout, format->channels);
    }
  }
}

void Mp4File::setAudioRate(int sampleRate) {
  if (sampleRate <= 0) throw CommandError("the audio does not tell its sample rate");
  AVCodecParameters& codec = *audio_.stream->codecpar;
  codec.sample_rate = sampleRate;
  audio_.samplesAFrame = samplesAFrame(codec.codec_id, sampleRate);
  codec.frame_size = static_cast<int>(audio_.samplesAFrame);
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
  if (started_ || audio_.stream == nullptr || audio_.samplesAFrame != 0) return false;
  if (!output.isVideo) {
    setAudioRate(mpegSampleRate(sampleOf(tag)));
    return false;
  }
  if (waiting_.size() == kMostWaiting) {
    setAudioRate(kUsualRate);
    return false;
  }
  waiting_.push_back({tag.content, {tag.data.begin(), tag.data.end()}});
  return true;
}

void Mp4File::setConfiguration(Output& output, const RecordedTag& tag) {
  if (started_)
    throw CommandError(fmt::format("the configuration of the {} changes at {} ms, which MP4 cannot express here",
                                   output.isVideo ? "video" : "audio", tag.timestamp()));
  setExtradata(*output.stream->codecpar, sampleOf(tag));
  if (!output.isVideo) setAudioRate(aacSampleRate(sampleOf(tag)));
}

void Mp4File::start() {
  if (started_) return;
  if (audio_.stream != nullptr && audio_.samplesAFrame == 0) setAudioRate(kUsualRate);
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", "+faststart", 0);
  av_dict_set_int(&options, "video_track_timescale", kVideoTimescale, 0);
  const int error = avformat_write_header(context_.get(), &options);
  av_dict_free(&options);
  check(error, path_);
  started_ = true;
  for (const Waiting& tag : waiting_) write(video_, {.content = tag.content, .data = tag.data});
  waiting_.clear();
}

std::int64_t Mp4File::decodeTime(Output& output, std::uint64_t timeMs) const {
  if (output.isVideo) {
    const auto time = static_cast<std::int64_t>(timeMs) * kTicksAMillisecond;
    return output.lastTime ? std::max(time, *output.lastTime + 1) : time;
  }
  // A tag's time is rounded to milliseconds. Frames that follow one another without a gap do so by their samples.
  constexpr std::int64_t kRoundingMs = 2;
  const std::int64_t rate = output.stream->codecpar->sample_rate;
  const auto time = static_cast<std::int64_t>(timeMs) * rate / 1000;
  if (!output.lastTime) return time;
  const std::int64_t distance = time - output.nextTime;
  return std::abs(distance) * 1000 <= kRoundingMs * rate ? output.nextTime : std::max(time, *output.lastTime + 1);
}

void Mp4File::write(Output& output, const RecordedTag& tag) {
  if (!firstTime_) firstTime_ = tag.timestamp();
  const std::int64_t time = decodeTime(output, tag.timestamp() - *firstTime_);
  const auto sample = sampleOf(tag);
  // How long a picture stands, the next one tells.
  if (output.held) send(output, time - output.held->dts);
  output.held = makePacket();
  AVPacket& packet = *output.held;
  check(av_new_packet(&packet, static_cast<int>(sample.size())), path_);
  std::memcpy(packet.data, sample.data(), sample.size());
  packet.stream_index = output.stream->index;
  packet.dts = time;
  packet.pts = time;
  if (!output.isVideo || tag.content.isKeyFrame()) packet.flags |= AV_PKT_FLAG_KEY;
  if (output.isVideo) {
    packet.pts += std::int64_t{tag.content.compositionTime} * kTicksAMillisecond;
    output.nextTime = time + std::max<std::int64_t>(time - output.lastTime.value_or(time), kTicksAMillisecond);
  } else {
    output.nextTime = time + output.samplesAFrame;
    send(output, output.samplesAFrame);
  }
  output.lastTime = time;
}

void Mp4File::send(Output& output, std::int64_t duration) {
  const Packet packet = std::move(output.held);
  packet->duration = duration;
  // The muxer may have given the streams time bases of its own.
  const AVRational own =
      output.isVideo ? AVRational{1, kVideoTimescale} : AVRational{1, output.stream->codecpar->sample_rate};
  av_packet_rescale_ts(packet.get(), own, output.stream->time_base);
  check(av_interleaved_write_frame(context_.get(), packet.get()), path_);
}

void Mp4File::finish() {
  start();
  // Of no length, the last pictures would be cut off. They stand as long as the one before.
  if (video_.held) send(video_, video_.nextTime - *video_.lastTime);
  check(av_write_trailer(context_.get()), path_);
  check(avio_closep(&context_->pb), path_);
}

}  // namespace host
