#include "packaging/SampleDescriptors.h"

#include <span>
#include <utility>

#include "packaging/CodecBoxes.h"
#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"
#include "util/ByteBuffer.h"
#include "util/narrow.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

constexpr std::size_t kAvcHeaderSize = 5;
constexpr std::size_t kAacHeaderSize = 2;

std::span<const std::byte> payload(const Message& message) {
  return {message.data(), message.dataSize()};
}

/// The configuration in a sequence header: possibly empty, which is stored as it is. Nothing for any other message, and
/// for one that ends within its codec header.
std::optional<std::span<const std::byte>> sequenceHeader(const Message& message, std::size_t codecHeaderSize) {
  if (message.packetType() != kSequenceHeader || message.dataSize() < codecHeaderSize) return std::nullopt;
  return payload(message).subspan(codecHeaderSize);
}

std::shared_ptr<K2RSampleDescriptor> makeDescriptor(std::shared_ptr<SampleDescInfo> info, FourCC formatCode,
                                                    FourCC handlerCode, ByteBuffer codecHeader) {
  info->formatCode = formatCode;
  info->codecHeaderLength = narrow<std::uint32_t>(codecHeader.size());
  info->handlerCode = handlerCode;
  auto descriptor = std::make_shared<K2RSampleDescriptor>();
  descriptor->info = std::move(info);
  descriptor->codecHeader = std::move(codecHeader);
  descriptor->formatCode = formatCode;
  return descriptor;
}

std::shared_ptr<K2RSampleDescriptor> makeVideoDescriptor(const Message& message, std::uint32_t width,
                                                         std::uint32_t height) {
  const FourCC formatCode = message.formatCode();
  ByteBuffer codecHeader;
  if (isAvcFormat(formatCode)) {
    // No description from a coded frame: its track would have to go without `avcC`, and no player could decode it.
    const auto record = sequenceHeader(message, kAvcHeaderSize);
    if (!record) return nullptr;
    codecHeader = makeAvcCBox(*record);
  }
  auto info = std::make_shared<VideoSampleDescInfo>();
  info->width = width;
  info->height = height;
  return makeDescriptor(std::move(info), formatCode, "vide"_4cc, std::move(codecHeader));
}

std::shared_ptr<K2RSampleDescriptor> makeAacDescriptor(const Message& message) {
  const auto bytes = sequenceHeader(message, kAacHeaderSize);
  if (!bytes) return nullptr;
  AacConfig config;
  config.data = bytes->data();
  config.dataSize = narrow<std::int32_t>(bytes->size());
  // The verdict is ignored: a configuration that breaks off is stored as it came, since a player may know better, and
  // described as far as it could be read (docs/decisions.md, "`AacConfig` keeps what was read").
  readAacConfig(config);
  auto info = std::make_shared<AudioSampleDescInfo>();
  // With SBR the output rate is the one of the extension; players take the track's rate from here.
  info->sampleRate = static_cast<float>(config.sbrPresent != -1 ? config.extensionSampleRate : config.sampleRate);
  info->channels = static_cast<std::uint32_t>(config.channelConfig);
  return makeDescriptor(std::move(info), message.formatCode(), "soun"_4cc, makeEsdsBox(*bytes));
}

std::shared_ptr<K2RSampleDescriptor> makeAudioDescriptor(const Message& message) {
  const FourCC formatCode = message.formatCode();
  if (formatCode == "mp4a"_4cc) return makeAacDescriptor(message);
  auto info = std::make_shared<AudioSampleDescInfo>();
  info->sampleRate = audioSampleRate(formatCode, message.firstByte());
  info->channels = audioChannels(message.firstByte());
  info->bytesPerSample = audioBytesPerSample(formatCode, message.firstByte());
  return makeDescriptor(std::move(info), formatCode, "soun"_4cc, {});
}

}  // namespace

std::shared_ptr<K2RSampleDescriptor> makeSampleDescriptor(const Message& message, std::uint32_t videoWidth,
                                                          std::uint32_t videoHeight) {
  if (message.isVideo()) return makeVideoDescriptor(message, videoWidth, videoHeight);
  if (message.isAudio()) return makeAudioDescriptor(message);
  if (!message.isData()) return nullptr;
  return makeDescriptor(std::make_shared<SampleDescInfo>(), message.formatCode(), "meta"_4cc, {});
}

}  // namespace ruvo::k2rpkgutil
