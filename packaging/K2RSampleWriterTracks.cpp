// Tracks and their sample descriptions: how they are declared, and how descriptions are read back.

#include <algorithm>

#include "packaging/CodecBoxes.h"
#include "packaging/K2RSampleWriter.h"
#include "packaging/MediaTime.h"
#include "packaging/tagCodec.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

/// Of every media track. Bytes of the file: an append expects the same ones.
constexpr char kHandlerName[] = "MainConcept";
constexpr std::uint32_t kDefaultDataEntry = 10;

/// Leaves the length of the codec header at 0: the wrapper sets it when it passes the bytes.
void describe(K2MDescriptorInfo& record, FourCC formatCode, FourCC handlerCode) {
  record.formatCode = formatCode;
  record.handlerCode = handlerCode;
}

template <typename Info>
std::shared_ptr<Info> makeInfo(const K2MDescriptorInfo& record, FourCC handlerCode) {
  auto info = std::make_shared<Info>();
  info->formatCode = record.formatCode;
  info->codecHeaderLength = record.codecHeaderLength;
  info->handlerCode = handlerCode;
  return info;
}

}  // namespace

krvo::k2m::Track K2RSampleWriter::addTrack(K2RWriter& writer, const K2RTrack& track, std::uint32_t thirdEntry) const {
  auto info = krvo::k2m::makeRecord<K2MTrackInfo>();
  info.handlerType = track.handlerType;
  std::copy_n(track.language.begin(), std::min<std::size_t>(track.language.size(), 3), info.language);
  info.handlerNameLength = sizeof(kHandlerName);  // with the terminating zero, which is stored, too
  info.duration = MediaTime{track.duration, track.timescale}.in(track.timescale);
  info.width = track.width;
  info.height = track.height;
  info.volume = 1.0F;  // of video as well, as existing files have it; the track's own volume is not stored
  info.timescale = track.timescale;
  info.created = krvo::k2m::dateNow();
  info.modified = info.created;
  info.flags = track.flags;
  auto entries = krvo::k2m::makeRecord<K2MEntriesInfo>();
  entries.values[0] = track.entries[0];
  entries.values[1] = track.entries[1];
  entries.values[2] = thirdEntry;
  if (track.handlerType == "meta"_4cc && entries.values[0] == 0) entries.values[0] = kDefaultDataEntry;
  return writer.k2mWriter().addTrack(info, entries, kHandlerName);
}

void K2RSampleWriter::addVideoDescriptor(K2RWriter& writer, const Track& track, const K2RSampleDescriptor& descriptor,
                                         FourCC formatCode, std::span<const std::byte> extra) const {
  const auto& info = dynamic_cast<const VideoSampleDescInfo&>(*descriptor.info);
  ByteBuffer codecHeader;
  // Only the `avcC` box, by the code of the clear format: what a foreign file has around it is not carried on.
  if (isAvcFormat(info.formatCode)) codecHeader.append(findAvcCBox(descriptor.codecHeader));
  codecHeader.append(extra);
  auto record = krvo::k2m::makeRecord<K2MVideoDescriptorInfo>();
  describe(record.base, formatCode, "vide"_4cc);
  record.width = info.width;
  record.height = info.height;
  record.horizontalResolution = info.horizontalResolution;
  record.verticalResolution = info.verticalResolution;
  record.frameCount = info.frameCount;
  record.depth = info.depth;
  writer.k2mWriter().addVideoSampleDescriptor(track, record, codecHeader.bytes());
}

void K2RSampleWriter::addAudioDescriptor(K2RWriter& writer, const Track& track, const K2RSampleDescriptor& descriptor,
                                         FourCC formatCode, std::span<const std::byte> extra) const {
  const auto& info = dynamic_cast<const AudioSampleDescInfo&>(*descriptor.info);
  ByteBuffer codecHeader;
  // The `esds` box whole, also one with a configuration that could not be read: a player may know better.
  if (info.formatCode == "mp4a"_4cc) codecHeader = descriptor.codecHeader;
  codecHeader.append(extra);
  auto record = krvo::k2m::makeRecord<K2MAudioDescriptorInfo>();
  describe(record.base, formatCode, "soun"_4cc);
  record.sampleRate = info.sampleRate;
  record.channels = info.channels;
  record.bytesPerSample = info.bytesPerSample;
  writer.k2mWriter().addAudioSampleDescriptor(track, record, codecHeader.bytes());
}

void K2RSampleWriter::addDataDescriptor(K2RWriter& writer, const Track& track, FourCC formatCode,
                                        std::span<const std::byte> extra) const {
  auto record = krvo::k2m::makeRecord<K2MDescriptorInfo>();
  describe(record, formatCode, "meta"_4cc);
  writer.k2mWriter().addSampleDescriptor(track, record, extra);
}

std::shared_ptr<SampleDescInfo> K2RSampleWriter::readVideoInfo(const SampleDescriptor& descriptor) {
  const K2MVideoDescriptorInfo record = descriptor.videoInfo();
  auto info = makeInfo<VideoSampleDescInfo>(record.base, "vide"_4cc);
  info->width = record.width;
  info->height = record.height;
  info->horizontalResolution = record.horizontalResolution;
  info->verticalResolution = record.verticalResolution;
  info->frameCount = record.frameCount;
  info->depth = record.depth;
  return info;
}

std::shared_ptr<SampleDescInfo> K2RSampleWriter::readAudioInfo(const SampleDescriptor& descriptor) {
  const K2MAudioDescriptorInfo record = descriptor.audioInfo();
  auto info = makeInfo<AudioSampleDescInfo>(record.base, "soun"_4cc);
  info->sampleRate = record.sampleRate;
  info->channels = record.channels;
  info->bytesPerSample = record.bytesPerSample;
  return info;
}

std::shared_ptr<SampleDescInfo> K2RSampleWriter::readDataInfo(const SampleDescriptor& descriptor) {
  // The handler code of the file, not "meta": anything that is neither video nor audio comes here.
  const K2MDescriptorInfo record = descriptor.info();
  return makeInfo<SampleDescInfo>(record, record.handlerCode);
}

}  // namespace ruvo::k2rpkgutil
