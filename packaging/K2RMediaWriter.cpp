#include "packaging/K2RMediaWriter.h"

#include <algorithm>
#include <utility>

#include "packaging/HintDescription.h"
#include "packaging/K2RTrackIterator.h"
#include "packaging/MediaTime.h"
#include "packaging/tagCodec.h"
#include "util/QVSException.h"
#include "util/tagHeader.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

constexpr char kHintHandlerName[] = "Korvo Systems Inc. Hint Handler";
/// Units a second of the hint track: the milliseconds of tags, whatever the media tracks have.
constexpr std::uint32_t kHintTimescale = 1000;
/// Time between the configurations of a stream without video, where no key frame gives a place for them.
constexpr std::uint32_t kAudioConfigIntervalMs = 1000;

K2MDocInfo makeDocInfo(const DocumentProperties& properties) {
  auto info = krvo::k2m::makeRecord<K2MDocInfo>();
  info.version = 1;
  info.created = krvo::k2m::dateNow();
  info.modified = info.created;
  info.rate = properties.rate;
  info.volume = std::min(properties.volume, 1.0F);
  info.timescale = properties.timescale;
  info.duration = MediaTime{properties.duration, properties.timescale}.in(properties.timescale);
  return info;
}

/// `header` is that of a video tag. Reads one byte beyond the header, also of a tag without data: the back pointer
/// follows there.
bool isKeyFrameTag(const std::byte* header) {
  return highNibble(std::to_integer<std::uint8_t>(header[kTagHeaderSize])) == kKeyFrame;
}

}  // namespace

K2RMediaWriter::K2RMediaWriter(IK2RMediaWriterPolicy& policy, IMediaProperties& properties, krvo::k2m::IOStream& stream)
    : policy_(policy),
      documentProperties_(properties.getDocumentProperties()),
      writer_(stream, makeDocInfo(documentProperties_), allocator_) {
  const std::unique_ptr<ITrackIterator> tracks(properties.getTracks());
  addTracks(*tracks);
  // Last, since the library takes no more tracks once a fragment has been started.
  fragmentPosition_ = writer_.startFragment();
}

K2RMediaWriter::K2RMediaWriter(IK2RMediaWriterPolicy& policy, krvo::k2m::IOStream& stream, std::uint64_t position,
                               krvo::k2m::WarningHandler& warnings)
    : policy_(policy), writer_(stream, warnings, allocator_, position) {
  fragmentPosition_ = writer_.startFragment();
  takeTracks();
}

ITrackIterator* K2RMediaWriter::getTracks() {
  // The slot hands over a raw pointer; made this way, nothing leaks if the constructor throws.
  return std::make_unique<K2RTrackIterator>(tracks_).release();
}

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

// ---- Fragments ----

FragmentPosition K2RMediaWriter::writeFragment(std::span<const NQMessage> messages, std::uint32_t limit,
                                               std::span<const std::byte> bootstrap) {
  const std::uint32_t nextAudioConfigTimeMs = nextAudioConfigTimeMs_;
  try {
    writer_.addAbst(bootstrap);
    writeMessages(messages, limit);
    // The position has to be read before startFragment(), which is also what writes this fragment.
    const FragmentPosition written{.position = fragmentPosition_};
    fragmentPosition_ = writer_.startFragment();
    return written;
  } catch (...) {
    // The same messages come again, and have to get the same configurations.
    nextAudioConfigTimeMs_ = nextAudioConfigTimeMs;
    throw;
  }
}

void K2RMediaWriter::flush() {
  writer_.k2mWriter().flush();
}

void K2RMediaWriter::writeMessages(std::span<const NQMessage> messages, std::uint32_t limit) {
  for (const NQMessage& message : messages) {
    const std::byte* const header = message.header();
    const std::uint32_t timestamp = tagTimestamp(header);
    if (timestamp >= limit) break;
    // The type byte with all its bits, not the kind under kTagTypeMask: the host program marks messages that must never
    // be stored by bit 0x80, and they have to end in the default (docs/decisions.md, "The host closes the last fragment
    // before it stops").
    switch (tagRawType(header)) {
      case kAudioTag:
      case kAudioTag | kTagProtectedBit:
        writeAudio(message, timestamp);
        break;
      case kVideoTag:
      case kVideoTag | kTagProtectedBit:
        // In front of the frame, so that a reader who begins at this fragment has the configuration first.
        if (isKeyFrameTag(header)) writeConfigs(message.time(), timestamp);
        policy_.writeVideoSample(writer_, hintTrack_, videoTrack_, message);
        break;
      case kAmf0DataTag:
      case kAmf0DataTag | kTagProtectedBit:
      case kAmf3DataTag:
      case kAmf3DataTag | kTagProtectedBit:
        policy_.writeDataSample(writer_, hintTrack_, dataTrack_, message);
        break;
      default:
        break;
    }
  }
}

void K2RMediaWriter::writeConfigs(std::uint32_t time, std::uint32_t timestamp) {
  policy_.writeVideoConfig(writer_, hintTrack_, videoTrack_, time, timestamp);
  if (audioTrack_) policy_.writeAudioConfig(writer_, hintTrack_, audioTrack_, time, timestamp, false);
}

void K2RMediaWriter::writeAudio(const NQMessage& message, std::uint32_t timestamp) {
  bool randomAccess = false;
  // Where the codec has no configuration, the message itself becomes the entry point of the index instead.
  if (!videoTrack_ && takeAudioConfigTurn(message.time())) {
    randomAccess = !policy_.writeAudioConfig(writer_, hintTrack_, audioTrack_, message.time(), timestamp, true);
  }
  policy_.writeAudioSample(writer_, hintTrack_, audioTrack_, message, randomAccess);
}

bool K2RMediaWriter::takeAudioConfigTurn(std::uint32_t timeMs) {
  const std::uint32_t dueMs = nextAudioConfigTimeMs_ + kAudioConfigIntervalMs;
  if (nextAudioConfigTimeMs_ != 0 && timeMs < dueMs) return false;
  // Not `timeMs`: existing recordings have the configuration in each second of the grid. The price is that a stream
  // which starts late repeats it with every message until this counter has caught up.
  nextAudioConfigTimeMs_ = dueMs;
  return true;
}

}  // namespace ruvo::k2rpkgutil
