// Constructors of NQMessage that turn a stored sample back into a tag. What segments do not keep is filled in as
// players expect it (docs/decisions.md, "A rebuilt tag follows the records of its sample's description and track").

#include <array>
#include <string>

#include "packaging/NQMessage.h"
#include "packaging/tagCodec.h"
#include "util/QVSException.h"
#include "util/bytes.h"
#include "wrappers/k2m/Reader.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

constexpr std::uint64_t kMilliseconds = 1000;

/// The bytes of a tag's data before its sample: at most the five of AVC.
class CodecHeader {
 public:
  void add(std::uint8_t byte) { bytes_.at(size_++) = byte; }
  std::span<const std::uint8_t> bytes() const { return std::span(bytes_).first(size_); }

 private:
  std::array<std::uint8_t, 5> bytes_{};
  std::size_t size_ = 0;
};

std::uint32_t timescaleOf(const K2MTrackInfo& track) {
  if (track.timescale == 0) throw qvs::QVSException("A track with a timescale of 0 has no times.");
  return track.timescale;
}

[[noreturn]] void refuse(const char* kind, FourCC formatCode) {
  throw qvs::QVSException(std::string("No tag is made of a stored ") + kind + " sample of format '" +
                          toText(formatCode) + "'.");
}

/// Decode time in milliseconds, of which a tag keeps the low 32 bits. Seconds and rest are converted separately,
/// because time * 1000 may exceed 64 bits.
std::uint32_t timeOf(const K2MSampleInfo& sample, std::uint32_t timescale) {
  const std::uint64_t seconds = sample.time / timescale;
  const std::uint64_t rest = sample.time % timescale;
  return static_cast<std::uint32_t>(seconds * kMilliseconds + rest * kMilliseconds / timescale);
}

NQMessage tagOf(IMemoryArena& arena, std::uint8_t type, const krvo::k2m::Sample& sample, const K2MTrackInfo& track,
                const CodecHeader& codecHeader) {
  const K2MSampleInfo info = sample.info();
  const std::uint32_t time = timeOf(info, timescaleOf(track));
  // The library copies straight into the new tag, so that a large sample is in memory once.
  return makeTag(arena, type, time, time, codecHeader.bytes(), info.length,
                 [&sample](std::span<std::byte> bytes) { sample.copyData(bytes); });
}

/// Returns 0 for a format without a tag form. The protected ones are among them: their sample begins with the filter's
/// parameters, which a clear tag does not have.
std::uint8_t videoCodecId(FourCC formatCode) {
  switch (tagFormatCode(formatCode)) {
    case "VP6A"_4cc:
      return kVp6AlphaVideo;
    case "VP6F"_4cc:
      return kVp6Video;
    case "H264"_4cc:
    case "mp4v"_4cc:
      return kAvcVideo;
    case "H263"_4cc:
      return kH263Video;
    default:
      return 0;
  }
}

/// The second codec header byte of VP6, the adjustment of the picture size: the complement of width and height modulo
/// 16, width in the high nibble.
std::uint8_t vp6Adjustment(const K2MVideoDescriptorInfo& descriptor) {
  return static_cast<std::uint8_t>(~((descriptor.width * 16) | (descriptor.height & 15)));
}

CodecHeader videoHeader(const K2MSampleInfo& sample, const K2MVideoDescriptorInfo& descriptor,
                        const K2MTrackInfo& track) {
  constexpr std::uint32_t kSyncMask = 0xFF;
  constexpr std::uint8_t kInterFrame = 2;
  const std::uint8_t codecId = videoCodecId(descriptor.base.formatCode);
  if (codecId == 0) refuse("video", descriptor.base.formatCode);
  const std::uint8_t frameType = (sample.flags & kSyncMask) == 1 ? kKeyFrame : kInterFrame;
  CodecHeader header;
  header.add(static_cast<std::uint8_t>(frameType << 4 | codecId));
  if (codecId == kVp6Video || codecId == kVp6AlphaVideo) header.add(vp6Adjustment(descriptor));
  if (codecId == kAvcVideo) {
    header.add(kCodedFrame);
    // Signed in version 1 of the box: without the cast a picture shown before its decode time would be weeks late.
    const std::int64_t units = static_cast<std::int32_t>(sample.compositionOffset);
    const std::int64_t offsetMs = units * static_cast<std::int64_t>(kMilliseconds) / timescaleOf(track);
    std::array<std::byte, 3> image{};
    storeBigEndian(image.data(), image.size(), static_cast<std::uint64_t>(offsetMs));
    for (const std::byte byte : image) header.add(std::to_integer<std::uint8_t>(byte));
  }
  return header;
}

// The bits of an audio tag's first byte beside the sound format.
constexpr std::uint8_t kTwoBytesPerSample = 0x02;
constexpr std::uint8_t kTwoChannels = 0x01;

/// The rate bits for a rate within 1 kHz of 5, 11 or 22 kHz; any other rate gets those of 44 kHz.
std::uint8_t rateBits(float hertz) {
  if (hertz > 4000 && hertz < 6000) return 0x00;
  if (hertz > 10000 && hertz < 12000) return 0x04;
  if (hertz > 21000 && hertz < 23000) return 0x08;
  return 0x0C;
}

/// The first data byte. 8 and 16 kHz have their own sound formats, which always mean one channel.
std::uint8_t nellymoserByte(const K2MAudioDescriptorInfo& descriptor) {
  const std::uint8_t size = descriptor.bytesPerSample == 2 ? kTwoBytesPerSample : 0;
  // Compared exactly: the rates come from audioSampleRate() and stored descriptions, never from a computation.
  if (descriptor.sampleRate == 8000.0F) return (kNellymoser8Audio << 4) | size;
  if (descriptor.sampleRate == 16000.0F) return (kNellymoser16Audio << 4) | size;
  const std::uint8_t channels = descriptor.channels == 2 ? kTwoChannels : 0;
  return (kNellymoserAudio << 4) | size | channels | rateBits(descriptor.sampleRate);
}

CodecHeader audioHeader(const K2MAudioDescriptorInfo& descriptor) {
  CodecHeader header;
  switch (descriptor.base.formatCode) {
    case "mp4a"_4cc:
      header.add(0xAF);  // AAC, 44 kHz, 16 bits, stereo: the tag format sets these bits so for every AAC stream
      header.add(kCodedFrame);
      break;
    case ".mp3"_4cc:
      header.add(0x2F);  // 44 kHz, 16 bits, stereo: decoders use the header of each MP3 frame
      break;
    case "spex"_4cc:
      header.add(0xB2);  // 16 bits, mono, as Speex in tags always is
      break;
    case "nmos"_4cc:
      header.add(nellymoserByte(descriptor));
      break;
    default:
      refuse("audio", descriptor.base.formatCode);
  }
  return header;
}

std::uint8_t dataType(FourCC formatCode) {
  if (formatCode == "amf0"_4cc) return kAmf0DataTag;
  if (formatCode == "amf3"_4cc) return kAmf3DataTag;
  refuse("data", formatCode);
}

}  // namespace

NQMessage::NQMessage(IMemoryArena& arena, const krvo::k2m::Sample& sample, const K2MVideoDescriptorInfo& descriptor,
                     const K2MTrackInfo& track)
    : NQMessage(tagOf(arena, kVideoTag, sample, track, videoHeader(sample.info(), descriptor, track))) {}

NQMessage::NQMessage(IMemoryArena& arena, const krvo::k2m::Sample& sample, const K2MAudioDescriptorInfo& descriptor,
                     const K2MTrackInfo& track)
    : NQMessage(tagOf(arena, kAudioTag, sample, track, audioHeader(descriptor))) {}

NQMessage::NQMessage(IMemoryArena& arena, const krvo::k2m::Sample& sample, const K2MDescriptorInfo& descriptor,
                     const K2MTrackInfo& track)
    : NQMessage(tagOf(arena, dataType(descriptor.formatCode), sample, track, {})) {}

}  // namespace ruvo::k2rpkgutil
