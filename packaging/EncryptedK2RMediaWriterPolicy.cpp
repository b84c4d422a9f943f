#include "packaging/EncryptedK2RMediaWriterPolicy.h"

#include <utility>

#include "packaging/ProtectionBox.h"
#include "packaging/tagCodec.h"
#include "util/QVSException.h"
#include "util/narrow.h"

namespace ruvo::k2rpkgutil {

using namespace qvs::util;

std::uint32_t EncryptedK2RMediaWriterPolicy::addEntries(Entries& entries, const K2RTrack& track) const {
  std::uint64_t length = 0;
  for (const auto& descriptor : track.sampleDescriptors) {
    const ProtectedEntry& entry =
        entries.emplace_back(ProtectedEntry{.protectedCode = protectedFormat(descriptor->info->handlerCode),
                                            .clearFormat = descriptor->formatCode,
                                            .codec = descriptor->codecHeader,
                                            .sinf = makeSinfBox(descriptor->formatCode, metadataText_)});
    length += entry.codec.size() + entry.sinf.size();
  }
  return narrow<std::uint32_t>(length);
}

krvo::k2m::Track EncryptedK2RMediaWriterPolicy::addVideoTrack(K2RWriter& writer, const K2RTrack& track) {
  // The third entry counts the `sinf` boxes, too, instead of the track's own figure.
  Track handle = sampleWriter_.addTrack(writer, track, addEntries(videoEntries_, track));
  for (std::size_t i = 0; i < track.sampleDescriptors.size(); ++i) {
    // Entry i from the front, not one of those just added: a later segment has to repeat the `sinf` boxes of the first.
    sampleWriter_.addVideoDescriptor(writer, handle, *track.sampleDescriptors[i], videoEntries_[i].protectedCode,
                                     videoEntries_[i].sinf.bytes());
  }
  return handle;
}

krvo::k2m::Track EncryptedK2RMediaWriterPolicy::addAudioTrack(K2RWriter& writer, const K2RTrack& track) {
  Track handle = sampleWriter_.addTrack(writer, track, addEntries(audioEntries_, track));
  for (std::size_t i = 0; i < track.sampleDescriptors.size(); ++i) {
    sampleWriter_.addAudioDescriptor(writer, handle, *track.sampleDescriptors[i], audioEntries_[i].protectedCode,
                                     audioEntries_[i].sinf.bytes());
  }
  return handle;
}

krvo::k2m::Track EncryptedK2RMediaWriterPolicy::addDataTrack(K2RWriter& writer, const K2RTrack& track) {
  Entries entries;  // not kept: script data have no configuration to repeat
  Track handle = sampleWriter_.addTrack(writer, track, addEntries(entries, track));
  for (const ProtectedEntry& entry : entries) {
    sampleWriter_.addDataDescriptor(writer, handle, entry.protectedCode, entry.sinf.bytes());
  }
  return handle;
}

void EncryptedK2RMediaWriterPolicy::writeAudioSample(K2RWriter& writer, const Track& hint, const Track& track,
                                                     const NQMessage& message, bool randomAccess) {
  // Not the protected tag (docs/decisions.md, "The clear message decides what a tag is in the file"): in that one a
  // byte at the same place may be the filter count.
  sampleWriter_.writeAudio(writer, hint, track, message, encryptMessage(message), randomAccess);
}

void EncryptedK2RMediaWriterPolicy::writeVideoSample(K2RWriter& writer, const Track& hint, const Track& track,
                                                     const NQMessage& message) {
  sampleWriter_.writeVideo(writer, hint, track, message, encryptMessage(message));
}

void EncryptedK2RMediaWriterPolicy::writeDataSample(K2RWriter& writer, const Track& hint, const Track& track,
                                                    const NQMessage& message) {
  sampleWriter_.writeData(writer, hint, track, encryptMessage(message));
}

void EncryptedK2RMediaWriterPolicy::writeVideoConfig(K2RWriter& writer, const Track& hint, const Track& track,
                                                     std::uint32_t time, std::uint32_t timestamp) {
  if (videoEntries_.empty()) return;
  const ProtectedEntry& entry = videoEntries_.front();
  // Not encrypted: the configuration is in the sample description in the clear anyway.
  const NQMessage message = sampleWriter_.buildVideoConfig(entry.clearFormat, time, timestamp, entry.codec);
  if (!message.empty()) sampleWriter_.writeVideo(writer, hint, track, message);
}

bool EncryptedK2RMediaWriterPolicy::writeAudioConfig(K2RWriter& writer, const Track& hint, const Track& track,
                                                     std::uint32_t time, std::uint32_t timestamp, bool randomAccess) {
  if (audioEntries_.empty()) return false;
  const ProtectedEntry& entry = audioEntries_.front();
  const NQMessage message = sampleWriter_.buildAudioConfig(entry.clearFormat, time, timestamp, entry.codec);
  if (message.empty()) return false;
  sampleWriter_.writeAudio(writer, hint, track, message, randomAccess);
  return true;
}

std::shared_ptr<K2RSampleDescriptor> EncryptedK2RMediaWriterPolicy::readVideoDescriptor(
    const SampleDescriptor& descriptor) {
  return readDescriptor(K2RSampleWriter::readVideoInfo(descriptor), descriptor.codecHeader(), videoEntries_);
}

std::shared_ptr<K2RSampleDescriptor> EncryptedK2RMediaWriterPolicy::readAudioDescriptor(
    const SampleDescriptor& descriptor) {
  return readDescriptor(K2RSampleWriter::readAudioInfo(descriptor), descriptor.codecHeader(), audioEntries_);
}

std::shared_ptr<K2RSampleDescriptor> EncryptedK2RMediaWriterPolicy::readDataDescriptor(
    const SampleDescriptor& descriptor) {
  Entries dropped;
  return readDescriptor(K2RSampleWriter::readDataInfo(descriptor), descriptor.codecHeader(), dropped);
}

std::shared_ptr<K2RSampleDescriptor> EncryptedK2RMediaWriterPolicy::readDescriptor(std::shared_ptr<SampleDescInfo> info,
                                                                                   const ByteBuffer& codecHeader,
                                                                                   Entries& entries) const {
  if (info->formatCode != protectedFormat(info->handlerCode)) {
    throw qvs::QVSException("The recording is in the clear and cannot be continued as a protected one.");
  }
  ProtectedCodecHeader header = splitCodecHeader(codecHeader);
  // With the `sinf` box of the file, so that the segments of an append continue with the first metadata text.
  entries.push_back({info->formatCode, header.clearFormat, header.codec, header.sinf});
  info->formatCode = header.clearFormat;
  auto result = std::make_shared<K2RSampleDescriptor>();
  result->info = std::move(info);
  result->codecHeader = std::move(header.codec);
  result->protection = std::move(header.sinf);
  result->formatCode = header.clearFormat;
  return result;
}

bool EncryptedK2RMediaWriterPolicy::hasAvcVideo() const {
  if (videoEntries_.empty()) return false;
  const FourCC format = videoEntries_.front().clearFormat;
  return isAvcFormat(format) || format == "mp4v"_4cc;
}

std::shared_ptr<IK2RMediaWriterPolicy> makeEncryptedPolicy(const k2r::IEncryptorContext& encryptorContext,
                                                           IPackagerContext& packagerContext,
                                                           std::string metadataText) {
  return std::make_shared<EncryptedK2RMediaWriterPolicy>(k2r::makeEncryptor(encryptorContext), packagerContext,
                                                         std::move(metadataText));
}

}  // namespace ruvo::k2rpkgutil
