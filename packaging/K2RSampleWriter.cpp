#include "packaging/K2RSampleWriter.h"

#include <algorithm>

#include "packaging/CodecBoxes.h"
#include "packaging/tagCodec.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

/// What a tag becomes in the file. A hint alone has no media sample: players must not take a configuration for a frame.
struct SampleKind {
  enum class Form { kNothing, kHintAlone, kHintAndMedia };

  Form form = Form::kNothing;
  bool sync = false;
  bool indexed = false;
};

// Both read within the tag even if it has no data: the four bytes of the back pointer follow the header then.
std::uint8_t firstDataByte(const std::byte* tag) {
  return std::to_integer<std::uint8_t>(tag[kTagHeaderSize]);
}
bool isSequenceHeader(const std::byte* tag) {
  return std::to_integer<std::uint8_t>(tag[kTagHeaderSize + 1]) == kSequenceHeader;
}

SampleKind audioKind(const std::byte* tag, bool randomAccess) {
  switch (highNibble(firstDataByte(tag))) {
    case kAacAudio:
      // Never indexed: the writer asks for the index entry at the message that follows the configuration.
      if (isSequenceHeader(tag)) return {SampleKind::Form::kHintAlone, true, false};
      [[fallthrough]];
    case kMp3Audio:
    case kNellymoser16Audio:
    case kNellymoser8Audio:
    case kNellymoserAudio:
    case kSpeexAudio:
    case kMp3At8kHzAudio:
      return {SampleKind::Form::kHintAndMedia, false, randomAccess};
    default:  // PCM and others, for which a segment has no sample entry
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
      // The index leads to the sequence header before the key frame, not to the frame.
      if (isSequenceHeader(tag)) return {SampleKind::Form::kHintAlone, true, true};
      return {SampleKind::Form::kHintAndMedia, sync, false};
    default:
      return {};
  }
}

/// Called by the library, also when a fragment fails; exactly once for each buffer that it was given.
void dropReference(void* memory) {
  static_cast<IMemoryArenaAlloc*>(memory)->release();
}

/// A buffer over the message's bytes, with one reference that belongs to the library from here on. It must be passed to
/// the library at once: nothing else would release it.
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
  // No composition offset: it stays in the bytes of an AVC tag, from which the library reads it.
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

/// A sequence header tag: the bytes of `prefix`, then the configuration, which is the sample.
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
  // Key frame and AVC in one byte, sequence header, composition time 0. Not the stream's own bytes, which are not kept.
  constexpr std::uint8_t kPrefix[] = {0x17, kSequenceHeader, 0, 0, 0};
  if (!isAvcFormat(formatCode)) return {};
  const auto box = findAvcCBox(bytes);
  if (box.empty()) return {};
  return buildConfig(context_.getArena(), kVideoTag, time, timestamp, kPrefix, box.subspan(kBoxHeaderSize));
}

NQMessage K2RSampleWriter::buildAudioConfig(FourCC formatCode, std::uint32_t time, std::uint32_t timestamp,
                                            const ByteBuffer& bytes) const {
  // AAC, 44 kHz, 16 bits, stereo: the tag format sets these bits so for every AAC stream, whatever its rate.
  constexpr std::uint8_t kPrefix[] = {0xAF, kSequenceHeader};
  if (formatCode != "mp4a"_4cc) return {};
  const auto config = findAacConfig(bytes);
  if (config.empty()) return {};  // the caller then marks the next message as the entry point instead
  return buildConfig(context_.getArena(), kAudioTag, time, timestamp, kPrefix, config);
}

}  // namespace ruvo::k2rpkgutil
