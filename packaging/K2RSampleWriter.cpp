#include "packaging/K2RSampleWriter.h"

#include <algorithm>
#include <utility>

#include "packaging/CodecBoxes.h"
#include "packaging/tagCodec.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

/// What a tag becomes in the file.
struct SampleKind {
  enum class Form { kNothing, kHintAlone, kHintAndMedia };

  Form form = Form::kNothing;
  bool sync = false;
  bool indexed = false;
};

// A tag is never shorter than its overhead, so that these two bytes are there also where it has no data.
std::uint8_t firstDataByte(const std::byte* tag) {
  return std::to_integer<std::uint8_t>(tag[kTagHeaderSize]);
}
bool isSequenceHeader(const std::byte* tag) {
  return std::to_integer<std::uint8_t>(tag[kTagHeaderSize + 1]) == kSequenceHeader;
}

SampleKind audioKind(const std::byte* tag, bool randomAccess) {
  switch (highNibble(firstDataByte(tag))) {
    case kAacAudio:
      if (isSequenceHeader(tag)) return {SampleKind::Form::kHintAlone, true, false};
      [[fallthrough]];
    case kMp3Audio:
    case kNellymoser16Audio:
    case kNellymoser8Audio:
    case kNellymoserAudio:
    case kSpeexAudio:
    case kMp3At8kHzAudio:
      return {SampleKind::Form::kHintAndMedia, false, randomAccess};
    default:
      return {};
  }
}

SampleKind videoKind(const std::byte* tag) {
  const bool sync = highNibble(firstDataByte(tag)) == kKeyFrame;
  switch (lowNibble(firstDataByte(tag))) {
    case kH263Video:
    case kVp6Video:
    case kVp6AlphaVideo:
      return {SampleKind::Form::kHintAndMedia, sync, sync};
    case kAvcVideo:
      // The index leads to the sequence header in front of the key frame, not to the frame.
      if (isSequenceHeader(tag)) return {SampleKind::Form::kHintAlone, true, true};
      return {SampleKind::Form::kHintAndMedia, sync, false};
    default:
      return {};
  }
}

void dropReference(void* memory) {
  static_cast<IMemoryArenaAlloc*>(memory)->release();
}

/// The message's own bytes, with a reference on their memory that is the library's from here on.
KrvoK2MDataBuffer shareBytes(const NQMessage& message) {
  return krvo::k2m::makeDataBuffer(message.header(), MemoryHolder(message.memory()).detach(), &dropReference);
}

void write(krvo::k2m::K2RWriter& writer, const krvo::k2m::Track& hint, const krvo::k2m::Track& track,
           const NQMessage& message, SampleKind kind) {
  if (kind.form == SampleKind::Form::kNothing) return;
  K2MHintInfo info{};
  info.sample = krvo::k2m::makeRecord<K2MSampleInfo>();
  info.sample.length = message.totalSize();
  info.sample.time = message.time();
  info.sample.timescale = 1000;
  info.sample.sampleType = "hint"_4cc;
  info.sample.flags = kind.sync ? 1 : 0;
  if (kind.form == SampleKind::Form::kHintAlone) {
    writer.addSampleWithAfra(hint, shareBytes(message), info.sample, kind.indexed);
    return;
  }
  info.media.offset = message.sampleOffset();
  info.media.length = message.sampleSize();
  writer.addHintSample(hint, track, shareBytes(message), info, kind.indexed);
}

/// A sequence header: the bytes of `prefix` in front of the configuration, which is the sample.
NQMessage buildConfig(IMemoryArena& arena, std::uint8_t type, std::uint32_t time, std::uint32_t timestamp,
                      std::span<const std::uint8_t> prefix, std::span<const std::byte> config) {
  return makeTag(arena, type, time, timestamp, prefix, config.size(),
                 [config](std::span<std::byte> sample) { std::ranges::copy(config, sample.begin()); });
}

}  // namespace

void K2RSampleWriter::writeAudio(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                                 bool randomAccess) const {
  writeAudio(writer, hint, track, message, message, randomAccess);
}

void K2RSampleWriter::writeAudio(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                                 const NQMessage& stored, bool randomAccess) const {
  write(writer, hint, track, stored, audioKind(message.header(), randomAccess));
}

void K2RSampleWriter::writeVideo(K2RWriter& writer, const Track& hint, const Track& track,
                                 const NQMessage& message) const {
  writeVideo(writer, hint, track, message, message);
}

void K2RSampleWriter::writeVideo(K2RWriter& writer, const Track& hint, const Track& track, const NQMessage& message,
                                 const NQMessage& stored) const {
  write(writer, hint, track, stored, videoKind(message.header()));
}

void K2RSampleWriter::writeData(K2RWriter& writer, const Track& hint, const Track& track,
                                const NQMessage& message) const {
  write(writer, hint, track, message, {SampleKind::Form::kHintAndMedia, false, false});
}

NQMessage K2RSampleWriter::buildVideoConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                                            const ByteBuffer& bytes) const {
  constexpr std::size_t kBoxHeaderSize = 8;
  // A key frame of AVC, a sequence header, composition time 0.
  constexpr std::uint8_t kPrefix[] = {0x17, kSequenceHeader, 0, 0, 0};
  if (!isAvcFormat(formatCode)) return {};
  const auto box = findAvcCBox(bytes);
  if (box.empty()) return {};
  return buildConfig(context_.getArena(), kVideoTag, time, timestamp, kPrefix, box.subspan(kBoxHeaderSize));
}

NQMessage K2RSampleWriter::buildAudioConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                                            const ByteBuffer& bytes) const {
  // AAC, 44 kHz, 16 bits, stereo, as the format has it for any AAC; a sequence header.
  constexpr std::uint8_t kPrefix[] = {0xAF, kSequenceHeader};
  if (formatCode != "mp4a"_4cc) return {};
  const auto config = findAacConfig(bytes);
  if (config.empty()) return {};
  return buildConfig(context_.getArena(), kAudioTag, time, timestamp, kPrefix, config);
}

}  // namespace ruvo::k2rpkgutil
