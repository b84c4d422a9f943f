#include "host/record/StreamFollower.h"

#include <limits>

#include "packaging/tagCodec.h"

namespace host {

using ruvo::k2r::FragmentAction;
using ruvo::k2r::SampleInfo;
using ruvo::k2r::SampleKind;

namespace {

constexpr std::uint64_t kLastTimeMs = std::numeric_limits<std::uint32_t>::max();

SampleKind kindOf(const InputMessage& message) {
  return SampleInfo::ofMessage(message.type, message.data, 0).kind;
}

/// The shortest data that the module accepts as a picture of the codec in the low nibble of `codec`. The packet type is
/// 1, so that AVC data are not taken for a sequence header.
std::vector<std::byte> picture(std::uint8_t frameType, std::byte codec) {
  const auto first = static_cast<std::byte>(frameType << 4) | (codec & std::byte{0x0F});
  return {first, std::byte{1}, std::byte{0}, std::byte{0}, std::byte{0}};
}

bool isMadeUp(const InputMessage& message) {
  return (message.type & kMadeUpBit) != 0;
}

}  // namespace

StreamFollower::StreamFollower(std::uint32_t fragmentDuration, bool isProtected, const RecordingEnd& end)
    : check_(end.codecs, isProtected),
      model_(fragmentDuration, end.codecs[static_cast<std::size_t>(SampleKind::Video)].has_value(), end.baseMs),
      firstLineMs_(end.continueMs),
      goesByVideo_(end.codecs[static_cast<std::size_t>(SampleKind::Video)].has_value()) {}

Reception StreamFollower::judge(const InputMessage& message) {
  const Reception reception = check_.judge(message);
  if (reception == Reception::kSkipped && kindOf(message) == SampleKind::Video) {
    announced_ = picture(ruvo::k2rpkgutil::kKeyFrame, message.data.front());
  }
  return reception;
}

std::optional<InputMessage> StreamFollower::headFor(const InputMessage& message, bool keepsLeadIn) {
  const std::uint32_t offLineMs = message.timeMs % model_.fragmentDuration();
  const std::uint32_t lineMs = message.timeMs - offLineMs;
  // Before the first line of an append a message could not be stored at all.
  if (!model_.isFresh() || lineMs < firstLineMs_ || isMadeUp(message)) return std::nullopt;
  if (keepsLeadIn && !announced_.empty() && kindOf(message) != SampleKind::Video) {
    learnPayload({.type = ruvo::k2rpkgutil::kVideoTag, .timeMs = lineMs, .data = announced_}, SampleKind::Video);
    return madeUp(SampleKind::Video, lineMs);
  }
  if (offLineMs == 0) return std::nullopt;
  const SampleInfo sample = SampleInfo::ofMessage(message.type, message.data, lineMs);
  learnPayload(message, sample.kind);
  // A made-up key frame would make the inter frames after it storable, although no decoder can use them. So before an
  // inter frame an inter frame is made up.
  const bool isInterFrame = sample.kind == SampleKind::Video && !sample.keyFrame;
  return isInterFrame ? madeUpInterFrame(lineMs) : madeUp(sample.kind, lineMs);
}

FragmentModel::Step StreamFollower::take(const InputMessage& message, bool recorded) {
  const SampleKind kind = kindOf(message);
  if (recorded && !isMadeUp(message)) learnPayload(message, kind);
  const FragmentModel::Step step = model_.add(message, recorded);
  if (kind == SampleKind::Video && step.action != FragmentAction::DropSample) goesByVideo_ = true;
  if (step.action == FragmentAction::WriteFragment || step.action == FragmentAction::HoldFragment) check_.fixTracks();
  return step;
}

std::vector<InputMessage> StreamFollower::closing() const {
  // Shortest first: what is made up leaves numbers and times in index and bootstrap, so no more than needed is sent.
  if (model_.isEmptiedBy({})) return {};
  for (auto& messages : candidates()) {
    if (model_.isEmptiedBy(messages)) return std::move(messages);
  }
  return {};
}

std::optional<InputMessage> StreamFollower::keyFrameThatCloses(std::uint32_t timeMs) const {
  if (!goesByVideo_ || payloads_[static_cast<std::size_t>(SampleKind::Video)].empty()) return std::nullopt;
  const InputMessage key = madeUp(SampleKind::Video, timeMs);
  if (!model_.isEmptiedBy({&key, 1})) return std::nullopt;
  return key;
}

std::vector<std::vector<InputMessage>> StreamFollower::candidates() const {
  const std::uint64_t durationMs = model_.fragmentDuration();
  const std::uint64_t nextMs = std::uint64_t{model_.lastTimeMs()} + 1;
  const std::uint64_t lineMs = (model_.lastTimeMs() / durationMs + 1) * durationMs;
  const std::uint64_t afterMs = lineMs + durationMs;
  const auto has = [this](SampleKind kind) { return !payloads_[static_cast<std::size_t>(kind)].empty(); };
  std::vector<std::vector<InputMessage>> found;
  const auto key = [this](std::uint64_t timeMs) { return madeUp(SampleKind::Video, timeMs); };
  if (has(SampleKind::Video) && lineMs <= kLastTimeMs) {
    // After the slot of its number a fragment ends at any key frame. Within the slot such a key frame would become part
    // of the fragment instead of closing it.
    if (model_.actionFor(key(nextMs)) == FragmentAction::WriteFragment) found.push_back({key(nextMs)});
    found.push_back({key(lineMs)});
  }
  if (has(SampleKind::Video) && afterMs <= kLastTimeMs) {
    found.push_back({key(lineMs), key(afterMs)});
    found.push_back({madeUpInterFrame(lineMs), madeUpInterFrame(afterMs), key(afterMs)});
  }
  for (const SampleKind kind : {SampleKind::Audio, SampleKind::Data}) {
    if (has(kind) && lineMs <= kLastTimeMs) found.push_back({madeUp(kind, lineMs)});
  }
  return found;
}

InputMessage StreamFollower::madeUp(SampleKind kind, std::uint64_t timeMs) const {
  const std::uint8_t types[] = {ruvo::k2rpkgutil::kAudioTag, ruvo::k2rpkgutil::kVideoTag, dataType_};
  const auto index = static_cast<std::size_t>(kind);
  return {.type = static_cast<std::uint8_t>(types[index] | kMadeUpBit),
          .timeMs = static_cast<std::uint32_t>(timeMs),
          .data = payloads_[index]};
}

InputMessage StreamFollower::madeUpInterFrame(std::uint64_t timeMs) const {
  InputMessage message = madeUp(SampleKind::Video, timeMs);
  message.data = interFrame_;
  return message;
}

void StreamFollower::learnPayload(const InputMessage& message, SampleKind kind) {
  constexpr std::uint8_t kInterFrame = 2;
  auto& payload = payloads_[static_cast<std::size_t>(kind)];
  if (!payload.empty()) return;
  const std::byte first = message.data.front();
  switch (kind) {
    case SampleKind::Video:
      payload = picture(ruvo::k2rpkgutil::kKeyFrame, first);
      interFrame_ = picture(kInterFrame, first);
      break;
    case SampleKind::Audio:
      // The packet type 1: with 0 AAC data would be taken for a configuration.
      payload = {first, std::byte{1}};
      break;
    case SampleKind::Data:
      payload.assign(message.data.begin(), message.data.end());
      dataType_ = message.type & qvs::util::kTagTypeMask;
      break;
  }
}

}  // namespace host
