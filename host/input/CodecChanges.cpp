#include "host/input/CodecChanges.h"

#include <algorithm>
#include <iterator>

#include "packaging/tagCodec.h"

namespace host {

using namespace ruvo::k2rpkgutil;
using qvs::util::operator""_4cc;

namespace {

/// Limits of the audio that waits for a key frame. Beyond them the next recording begins without a picture.
constexpr std::size_t kMostHeldBytes = std::size_t{4} << 20;
constexpr std::uint32_t kLongestHoldMs = 20000;

std::uint8_t firstByte(const InputMessage& message) {
  return std::to_integer<std::uint8_t>(message.data[0]);
}

bool isFrame(const OwnedMessage& message) {
  return MessageKind(message.view()).isFrame();
}

}  // namespace

std::optional<InputMessage> CodecChanges::next() {
  // After a split the messages in `ahead_` belong to the next recording.
  while (!change_) {
    const auto message = read();
    if (!message) {
      // The audio that waits becomes a separate recording.
      if (audioChange_) split(std::nullopt, *audioChange_);
      return std::nullopt;
    }
    const MessageKind kind(*message);
    hasVideo_ = hasVideo_ || kind.isVideo();
    hasAudio_ = hasAudio_ || kind.isAudio();
    if (kind.isKeyFrame()) video_.collectSets(*message, kind);
    if (auto change = changeBy(*message, kind); change && !isTooOften(*message)) {
      // This recording takes the pictures until a key frame comes: the next one can begin with that.
      if (kind.isAudio() && hasVideo_) {
        audioChange_ = std::move(change);
      } else {
        split(*message, std::move(*change));
      }
    } else if (auto reason = reasonToSplit(*message, kind)) {
      split(*message, std::move(*reason));
    }
    if (change_) break;
    if (!audioChange_ || !kind.isAudio()) return recorded(*message, kind);
    hold(*message);
  }
  return std::nullopt;
}

std::optional<std::string> CodecChanges::reasonToSplit(const InputMessage& message, const MessageKind& kind) const {
  if (audioChange_) {
    const bool isTooMuch = kind.isAudio() && !held_.empty() &&
                           (heldBytes_ > kMostHeldBytes || message.timeMs - held_.front().timeMs > kLongestHoldMs);
    return kind.isKeyFrame() || isTooMuch ? audioChange_ : std::nullopt;
  }
  if (!wish_ || !hasBegun_ || !canBegin(kind)) return std::nullopt;
  return wish_({.recordedMs = message.timeMs - firstFrameMs_.value_or(message.timeMs),
                .isNewClock = source().newClocks() != clocksAtBegin_,
                .isNewPicture = kind.isAvc() && video_.isNewPicture()});
}

bool CodecChanges::canBegin(const MessageKind& kind) const {
  if (hasVideo_) return kind.isKeyFrame();
  return hasAudio_ ? kind.isFrame() : !kind.isMetadata();
}

InputMessage CodecChanges::recorded(const InputMessage& message, const MessageKind& kind) {
  // Before adapted(), which needs what a header says.
  learn(message, kind);
  hasBegun_ = hasBegun_ || canBegin(kind);
  if (!firstFrameMs_ && (kind.isFrame() || canBegin(kind))) firstFrameMs_ = message.timeMs;
  InputMessage result = video_.adapted(message, kind);
  result.timeMs = timeOf(message);
  return result;
}

std::uint32_t CodecChanges::timeOf(const InputMessage& message) const {
  if (keepTimes_ || !isContinued_) return message.timeMs;
  // Before the first frame there is no distance: headers and metadata get the time 0.
  const std::uint32_t timeMs = message.timeMs - firstFrameMs_.value_or(message.timeMs);
  // A message that is older than the first frame would get a huge unsigned time.
  return static_cast<std::int32_t>(timeMs) < 0 && message.timeMs < *firstFrameMs_ ? 0 : timeMs;
}

std::optional<InputMessage> CodecChanges::read() {
  if (ahead_.empty()) return readInput();
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  return current_.view();
}

std::optional<InputMessage> CodecChanges::readInput() {
  const auto message = input_.read();
  // The audio that is held came before the failure.
  if (!audioChange_) input_.throwFailure();
  return message;
}

std::uint32_t CodecChanges::nextBeginMs() const {
  if (ahead_.empty()) return 0;
  const auto frame = std::ranges::find_if(ahead_, isFrame);
  return frame == ahead_.end() ? ahead_.back().timeMs : frame->timeMs;
}

std::vector<OwnedMessage> CodecChanges::takeBack() {
  const auto first = std::ranges::find_if(ahead_, isFrame);
  std::vector<OwnedMessage> messages(std::make_move_iterator(first), std::make_move_iterator(ahead_.end()));
  ahead_.erase(first, ahead_.end());
  return messages;
}

void CodecChanges::expect(const CodecHeaders& headers) {
  for (const auto& [type, header] : {std::pair(kVideoTag, headers.video), std::pair(kAudioTag, headers.audio)}) {
    const InputMessage message{.type = type, .timeMs = 0, .data = header};
    learn(message, MessageKind(message));
  }
}

std::optional<std::string> CodecChanges::changeBy(const InputMessage& message, const MessageKind& kind) const {
  if (message.data.empty()) return std::nullopt;
  // Audio that is held is compared when the next recording gets it.
  if (kind.isAudio() && !audioChange_) {
    const auto codec = tagCodec(kAudioTag, firstByte(message)).formatCode;
    // 0 is a codec without a format code. It does not make a new recording.
    if (audio_.codec != 0 && codec != 0 && codec != audio_.codec) return "the audio's codec changes";
    const bool isOther =
        kind.isSequenceHeader() && audio_.hasHeader && !std::ranges::equal(message.data, audio_.header);
    if (isOther) return "the audio's configuration changes";
  }
  return video_.change(message, kind);
}

void CodecChanges::learn(const InputMessage& message, const MessageKind& kind) {
  if (kind.isMetadata()) metadata_ = OwnedMessage(message);
  if (message.data.empty()) return;
  if (kind.isAudio()) {
    audio_.codec = tagCodec(kAudioTag, firstByte(message)).formatCode;
    if (kind.isSequenceHeader()) {
      audio_.header.assign(message.data.begin(), message.data.end());
      audio_.hasHeader = true;
    }
  }
  video_.learn(message, kind);
}

void CodecChanges::hold(const InputMessage& message) {
  heldBytes_ += message.data.size();
  held_.emplace_back(message);
}

bool CodecChanges::isTooOften(const InputMessage& message) {
  constexpr unsigned kMostQuickChanges = 8;
  constexpr std::uint32_t kQuickMs = 1000;
  const bool isQuick = lastChangeMs_ && message.timeMs - *lastChangeMs_ < kQuickMs;
  quickChanges_ = isQuick ? quickChanges_ + 1 : 0;
  if (quickChanges_ > kMostQuickChanges) return true;
  lastChangeMs_ = message.timeMs;
  return false;
}

void CodecChanges::split(const std::optional<InputMessage>& message, std::string reason) {
  const MessageKind kind(message.value_or(InputMessage{}));
  const MessageKind sound = held_.empty() ? kind : MessageKind(held_.front().view());
  // All that is sent before the frames gets the time of the first of them, so that times do not fall.
  const std::uint32_t timeMs = held_.empty() ? message->timeMs : held_.front().timeMs;
  prepareMetadata(timeMs);
  const bool isHeader = kind.isSequenceHeader();
  // At the end no picture follows.
  const bool continuesWithAvc = message && hasVideo_ && video_.isAvc();
  const bool needsVideo = kind.isVideo() ? kind.isAvc() && !isHeader : continuesWithAvc;
  const bool needsAudio =
      sound.isAudio() ? sound.isAac() && !sound.isSequenceHeader() : hasAudio_ && audio_.codec == "mp4a"_4cc;
  auto videoHeader = video_.currentHeader();
  if (needsVideo && !videoHeader.empty()) ahead_.emplace_back(kVideoTag, timeMs, std::move(videoHeader));
  if (needsAudio && !audio_.header.empty()) ahead_.emplace_back(kAudioTag, timeMs, audio_.header);
  // A header of the video is put before the audio that waits, a frame after it.
  if (isHeader && kind.isVideo()) ahead_.emplace_back(*message);
  std::move(held_.begin(), held_.end(), std::back_inserter(ahead_));
  if (message && !(isHeader && kind.isVideo())) ahead_.emplace_back(*message);
  held_.clear();
  heldBytes_ = 0;
  audioChange_.reset();
  change_ = std::move(reason);
}

void CodecChanges::prepareMetadata(std::uint32_t timeMs) {
  // An input that makes metadata knows the new codecs; otherwise the stream's last one is sent again.
  auto metadata = source().metadata();
  if (!metadata.empty()) {
    ahead_.emplace_back(kAmf0DataTag, timeMs, std::move(metadata));
  } else if (!metadata_.data.empty()) {
    ahead_.emplace_back(metadata_.type, timeMs, metadata_.data);
  }
}

void CodecChanges::beginRecording() {
  change_.reset();
  isContinued_ = true;
  firstFrameMs_.reset();
  hasBegun_ = false;
  clocksAtBegin_ = source().newClocks();
  video_.beginRecording();
  // The stream's last header stays: the stream may return to its codec without repeating it.
  audio_ = {.header = std::move(audio_.header)};
}

}  // namespace host
