#include "packaging/K2RMediaWriter.h"

#include <algorithm>

#include "packaging/K2RTrackIterator.h"
#include "packaging/MediaTime.h"
#include "packaging/tagCodec.h"
#include "util/tagHeader.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

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
    // be stored by bit 0x80, and they have to match no case (docs/decisions.md, "The host closes the last fragment
    // before it stops").
    switch (tagRawType(header)) {
      case kAudioTag:
      case kAudioTag | kTagProtectedBit:
        writeAudio(message, timestamp);
        break;
      case kVideoTag:
      case kVideoTag | kTagProtectedBit:
        // Before the frame, so that a reader who begins at this fragment has the configuration first.
        if (isKeyFrameTag(header)) writeConfigs(message.time(), timestamp);
        policy_.writeVideoSample(writer_, hintTrack_, videoTrack_, message);
        break;
      case kAmf0DataTag:
      case kAmf0DataTag | kTagProtectedBit:
      case kAmf3DataTag:
      case kAmf3DataTag | kTagProtectedBit:
        policy_.writeDataSample(writer_, hintTrack_, dataTrack_, message);
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
