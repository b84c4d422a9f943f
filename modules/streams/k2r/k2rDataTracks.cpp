// The first messages of a stream define its tracks, and every later message has to match them.

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "packaging/SampleDescriptors.h"
#include "packaging/tagCodec.h"

namespace qvs::k2r {
namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

FourCC handlerTypeOf(const RefMessage& message) {
  if (message.isVideo()) return "vide"_4cc;
  return message.isAudio() ? "soun"_4cc : "meta"_4cc;
}

/// Whether a message is only for the decoder or the player. It may define a track but is not recorded itself: the
/// writer repeats the configuration where it is needed.
bool isForDecoderOnly(const RefMessage& message) {
  if (message.isVideo() && message.isCommandFrame()) return true;
  const auto packet = message.packetType();
  if (!packet) return false;
  return *packet == kSequenceHeader || (message.isVideo() && *packet == kAvcEndOfSequence);
}

bool hasCodec(const K2RTrack& track, FourCC code) {
  return track.sampleDescriptors.size() == 1 && tagFormatCode(track.sampleDescriptors.front()->formatCode) == code;
}

}  // namespace

K2RData::Check K2RData::checkTrack(const RefMessage& message) {
  const Check accepted = isForDecoderOnly(message) ? Check::kSkip : Check::kAccept;
  const FourCC handlerType = handlerTypeOf(message);
  const auto refuse = [this](const char* reason) {
    streamContext_->log(reason, kIMOLogError, true);
    return Check::kRefuse;
  };
  if (const auto track = mediaProperties_.findTrack(handlerType)) {
    return hasCodec(*track, message.formatCode()) ? accepted : refuse("Invalid codec.");
  }
  // The track headers of the segment are written already.
  if (writerStarted_) return refuse("Track not found.");
  auto descriptor = makeSampleDescriptor(message, videoWidth_, videoHeight_);
  if (!descriptor) return refuse("Unable to create sample descriptor for message.");
  addTrackFor(message, std::move(descriptor));
  return accepted;
}

void K2RData::addTrackFor(const RefMessage& message, std::shared_ptr<K2RSampleDescriptor> descriptor) {
  auto track = std::make_shared<K2RTrack>();
  track->handlerType = handlerTypeOf(message);
  track->entries = {1, 1000, descriptor->info->codecHeaderLength};
  track->sampleDescriptors.push_back(std::move(descriptor));
  mediaProperties_.addTrack(std::move(track));
}

}  // namespace qvs::k2r
