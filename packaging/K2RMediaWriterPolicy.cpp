#include "packaging/K2RMediaWriterPolicy.h"

#include <utility>

#include "packaging/ProtectionBox.h"
#include "util/QVSException.h"

namespace ruvo::k2rpkgutil {
namespace {

using qvs::util::ByteBuffer;

std::shared_ptr<K2RSampleDescriptor> makeDescriptor(std::shared_ptr<SampleDescInfo> info, ByteBuffer codecHeader) {
  // Found out here, when the last segment is opened on trial, and so before an append changes any file
  // (docs/decisions.md, "An append opens the last segment on trial first").
  if (isProtectedFormat(info->formatCode)) {
    throw qvs::QVSException("The recording is protected and cannot be continued in the clear.");
  }
  auto descriptor = std::make_shared<K2RSampleDescriptor>();
  descriptor->formatCode = info->formatCode;
  descriptor->info = std::move(info);
  descriptor->codecHeader = std::move(codecHeader);
  return descriptor;
}

}  // namespace

krvo::k2m::Track K2RMediaWriterPolicy::addVideoTrack(K2RWriter& writer, const K2RTrack& track) {
  Track handle = sampleWriter_.addTrack(writer, track, track.entries[2]);
  for (const auto& descriptor : track.sampleDescriptors) {
    sampleWriter_.addVideoDescriptor(writer, handle, *descriptor, descriptor->formatCode, {});
    // Also without a codec header: only the first entry counts, and a track without a configuration must have that one.
    videoConfigs_.push_back({descriptor->formatCode, descriptor->codecHeader});
  }
  return handle;
}

krvo::k2m::Track K2RMediaWriterPolicy::addAudioTrack(K2RWriter& writer, const K2RTrack& track) {
  Track handle = sampleWriter_.addTrack(writer, track, track.entries[2]);
  for (const auto& descriptor : track.sampleDescriptors) {
    sampleWriter_.addAudioDescriptor(writer, handle, *descriptor, descriptor->formatCode, {});
    audioConfigs_.push_back({descriptor->formatCode, descriptor->codecHeader});
  }
  return handle;
}

krvo::k2m::Track K2RMediaWriterPolicy::addDataTrack(K2RWriter& writer, const K2RTrack& track) {
  Track handle = sampleWriter_.addTrack(writer, track, track.entries[2]);
  for (const auto& descriptor : track.sampleDescriptors) {
    sampleWriter_.addDataDescriptor(writer, handle, descriptor->formatCode, {});
  }
  return handle;
}

void K2RMediaWriterPolicy::writeAudioSample(K2RWriter& writer, const Track& hint, const Track& track,
                                            const NQMessage& message, bool randomAccess) {
  sampleWriter_.writeAudio(writer, hint, track, message, randomAccess);
}

void K2RMediaWriterPolicy::writeVideoSample(K2RWriter& writer, const Track& hint, const Track& track,
                                            const NQMessage& message) {
  sampleWriter_.writeVideo(writer, hint, track, message);
}

void K2RMediaWriterPolicy::writeDataSample(K2RWriter& writer, const Track& hint, const Track& track,
                                           const NQMessage& message) {
  sampleWriter_.writeData(writer, hint, track, message);
}

void K2RMediaWriterPolicy::writeVideoConfig(K2RWriter& writer, const Track& hint, const Track& track,
                                            std::uint32_t time, std::uint32_t timestamp) {
  if (videoConfigs_.empty()) return;
  // Always the first one, whichever segment is written: later segments only add the same configuration again.
  const CodecConfig& config = videoConfigs_.front();
  const NQMessage message = sampleWriter_.buildVideoConfig(config.formatCode, time, timestamp, config.bytes);
  if (!message.empty()) sampleWriter_.writeVideo(writer, hint, track, message);
}

bool K2RMediaWriterPolicy::writeAudioConfig(K2RWriter& writer, const Track& hint, const Track& track,
                                            std::uint32_t time, std::uint32_t timestamp, bool randomAccess) {
  if (audioConfigs_.empty()) return false;
  const CodecConfig& config = audioConfigs_.front();
  const NQMessage message = sampleWriter_.buildAudioConfig(config.formatCode, time, timestamp, config.bytes);
  if (message.empty()) return false;
  sampleWriter_.writeAudio(writer, hint, track, message, randomAccess);
  return true;
}

std::shared_ptr<K2RSampleDescriptor> K2RMediaWriterPolicy::readVideoDescriptor(const SampleDescriptor& descriptor) {
  auto result = makeDescriptor(K2RSampleWriter::readVideoInfo(descriptor), descriptor.codecHeader());
  if (!result->codecHeader.empty()) videoConfigs_.push_back({result->formatCode, result->codecHeader});
  return result;
}

std::shared_ptr<K2RSampleDescriptor> K2RMediaWriterPolicy::readAudioDescriptor(const SampleDescriptor& descriptor) {
  auto result = makeDescriptor(K2RSampleWriter::readAudioInfo(descriptor), descriptor.codecHeader());
  if (!result->codecHeader.empty()) audioConfigs_.push_back({result->formatCode, result->codecHeader});
  return result;
}

std::shared_ptr<K2RSampleDescriptor> K2RMediaWriterPolicy::readDataDescriptor(const SampleDescriptor& descriptor) {
  return makeDescriptor(K2RSampleWriter::readDataInfo(descriptor), descriptor.codecHeader());
}

}  // namespace ruvo::k2rpkgutil
