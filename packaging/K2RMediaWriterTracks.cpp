// The tracks of a segment: those that a new one gets, and those that are read back from an existing one.

#include <algorithm>
#include <iterator>
#include <utility>

#include "packaging/HintDescription.h"
#include "packaging/K2RMediaWriter.h"
#include "util/QVSException.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

constexpr char kHintHandlerName[] = "Korvo Systems Inc. Hint Handler";
/// Units a second of the hint track: the milliseconds of tags, whatever the media tracks have.
constexpr std::uint32_t kHintTimescale = 1000;

}  // namespace

// ---- A new segment ----

void K2RMediaWriter::addTracks(ITrackIterator& tracks) {
  std::vector<Track> added;
  std::shared_ptr<K2RTrack> track;
  while (tracks.hasNext()) {
    tracks.next(track);
    if (Track handle = addMediaTrack(*track)) added.push_back(std::move(handle));
  }
  if (added.empty()) throw qvs::QVSException("A segment needs at least one audio, video or data track.");
  addHintTrack(added);
}

krvo::k2m::Track K2RMediaWriter::addMediaTrack(const K2RTrack& track) {
  switch (track.handlerType) {
    case "vide"_4cc:
      return videoTrack_ ? Track() : videoTrack_ = policy_.addVideoTrack(writer_, track);
    case "soun"_4cc:
      return audioTrack_ ? Track() : audioTrack_ = policy_.addAudioTrack(writer_, track);
    case "meta"_4cc:
      return dataTrack_ ? Track() : dataTrack_ = policy_.addDataTrack(writer_, track);
    default:
      return {};
  }
}

void K2RMediaWriter::addHintTrack(std::span<const Track> mediaTracks) {
  auto info = krvo::k2m::makeRecord<K2MTrackInfo>();
  info.handlerType = "hint"_4cc;
  // Without video the first media track gives the language (docs/decisions.md, "The hint track has the language of the
  // video track").
  const K2MTrackInfo model = (videoTrack_ ? videoTrack_ : mediaTracks.front()).info();
  std::copy(std::begin(model.language), std::end(model.language), info.language);
  info.handlerNameLength = sizeof(kHintHandlerName);
  info.timescale = kHintTimescale;
  info.created = krvo::k2m::dateNow();
  info.modified = info.created;
  auto entries = krvo::k2m::makeRecord<K2MEntriesInfo>();
  entries.values[0] = 1;
  entries.values[1] = kHintTimescale;
  entries.values[2] = 1024;
  hintTrack_ = writer_.addHintTrack(info, entries, kHintHandlerName, mediaTracks);

  constexpr HintDescriptionEntry kEntry{.first = 1, .flags = {}, .last = 4};
  ByteWriter description;
  writeHintDescription(description, {&kEntry, 1});
  auto record = krvo::k2m::makeRecord<K2MRtmpDescriptorInfo>();
  record.base.formatCode = "rtmp"_4cc;
  record.base.handlerCode = "hint"_4cc;
  record.hintTrackVersion = 1;
  record.highestCompatibleVersion = 1;
  record.maximumPacketSize = 500;
  writer_.k2mWriter().addRtmpSampleDescriptor(hintTrack_, record, description.bytes());
}

// ---- An existing segment ----

krvo::k2m::Track* K2RMediaWriter::trackSlot(FourCC handlerType) {
  switch (handlerType) {
    case "vide"_4cc:
      return &videoTrack_;
    case "soun"_4cc:
      return &audioTrack_;
    case "meta"_4cc:
      return &dataTrack_;
    case "hint"_4cc:
      return &hintTrack_;
    default:
      return nullptr;
  }
}

void K2RMediaWriter::takeTracks() {
  krvo::k2m::Writer k2m = writer_.k2mWriter();
  for (const Track& track : k2m.tracks()) {
    // A track without a description cannot be continued, and a second one of its kind is not ours: new segments have
    // one.
    const auto descriptors = track.sampleDescriptors();
    Track* const slot = trackSlot(track.info().handlerType);
    if (descriptors.empty() || slot == nullptr || *slot) continue;
    *slot = track;
    // The samples of new fragments refer to the selected description; which one that is after opening is the library's
    // choice, so the writer makes its own.
    k2m.setSampleDescriptor(track, descriptors.front());
    tracks_.push_back(readTrack(track, descriptors));
  }
  if (!hintTrack_) throw qvs::QVSException("The segment to be continued has no hint track.");
}

std::shared_ptr<K2RTrack> K2RMediaWriter::readTrack(const Track& track,
                                                    const std::vector<krvo::k2m::SampleDescriptor>& descriptors) {
  const K2MTrackInfo info = track.info();
  const K2MEntriesInfo entries = track.entriesInfo();
  auto result = std::make_shared<K2RTrack>();
  result->handlerType = info.handlerType;
  result->language.assign(info.language, 3);  // without the fourth byte, a zero
  result->handlerNameLength = info.handlerNameLength;
  result->duration = static_cast<std::uint32_t>(info.duration);
  result->width = info.width;
  result->height = info.height;
  result->volume = info.volume;
  result->timescale = info.timescale;
  result->flags = info.flags;
  std::copy(std::begin(entries.values), std::end(entries.values), result->entries.begin());
  result->sampleCount = track.sampleCount();
  for (const auto& descriptor : descriptors) {
    if (auto read = readDescriptor(descriptor)) result->sampleDescriptors.push_back(std::move(read));
  }
  return result;
}

std::shared_ptr<K2RSampleDescriptor> K2RMediaWriter::readDescriptor(const krvo::k2m::SampleDescriptor& descriptor) {
  switch (descriptor.info().handlerCode) {
    case "hint"_4cc:
      return nullptr;
    case "vide"_4cc:
      return policy_.readVideoDescriptor(descriptor);
    case "soun"_4cc:
      return policy_.readAudioDescriptor(descriptor);
    default:
      return policy_.readDataDescriptor(descriptor);
  }
}

}  // namespace ruvo::k2rpkgutil
