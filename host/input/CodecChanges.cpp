#include "host/input/CodecChanges.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "host/input/avcFrame.h"
#include "packaging/tagCodec.h"

namespace host {

using namespace ruvo::k2rpkgutil;
using qvs::util::operator""_4cc;

namespace {

using Bytes = std::span<const std::byte>;

/// Frame type and codec, packet type, composition time.
constexpr std::size_t kAvcHeaderSize = 5;
/// Limit of the video messages that are kept for a new recording. If there are more, it begins with the next key frame.
constexpr std::size_t kMostPictureBytes = std::size_t{64} << 20;

std::uint8_t firstByte(const InputMessage& message) {
  return std::to_integer<std::uint8_t>(message.data[0]);
}

Bytes avcBody(Bytes data) {
  return data.subspan(std::min(kAvcHeaderSize, data.size()));
}

/// Whether frames and parameter sets of a stream with that configuration record can be written after lengths of
/// `lengthSize` bytes, which is what all frames of a recording must have.
bool fits(Bytes record, std::size_t lengthSize) {
  const auto sets = ParameterSets(record).units();
  return nalLengthSize(record) <= lengthSize &&
         std::ranges::all_of(sets, [&](NalUnit set) { return std::uint64_t{set.size()} >> (8 * lengthSize) == 0; });
}

}  // namespace

std::optional<InputMessage> CodecChanges::next() {
  // The message after the change is already in `ahead_`. It belongs to the next recording.
  if (change_) return std::nullopt;
  auto message = read();
  if (!message) return std::nullopt;
  const MessageKind kind(*message);
  hasVideo_ = hasVideo_ || kind.isVideo();
  hasAudio_ = hasAudio_ || kind.isAudio();
  if (auto change = changeBy(*message, kind); change && !isTooOften(*message)) {
    prepareNext(*message, kind);
    change_ = std::move(change);
    return std::nullopt;
  }
  // Before adapted(), which needs what a header says.
  learn(*message, kind);
  keepForNext(*message, kind);
  InputMessage result = adapted(*message, kind);
  result.timeMs = timeOf(*message, kind);
  return result;
}

std::uint32_t CodecChanges::timeOf(const InputMessage& message, const MessageKind& kind) {
  if (keepTimes_ || !isContinued_) return message.timeMs;
  if (kind.isFrame() && !distanceMs_) distanceMs_ = message.timeMs;
  // Before the first frame there is no distance: headers and metadata get the time 0.
  const std::uint32_t timeMs = message.timeMs - distanceMs_.value_or(message.timeMs);
  // A message that is older than the first frame would get a huge unsigned time.
  return static_cast<std::int32_t>(timeMs) < 0 && message.timeMs < *distanceMs_ ? 0 : timeMs;
}

std::optional<InputMessage> CodecChanges::read() {
  if (ahead_.empty()) return input_->next();
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  return current_.view();
}

void CodecChanges::expect(const CodecHeaders& headers) {
  for (const auto& [type, header] : {std::pair(kVideoTag, headers.video), std::pair(kAudioTag, headers.audio)}) {
    const InputMessage message{.type = type, .timeMs = 0, .data = header};
    learn(message, MessageKind(message));
  }
}

std::optional<std::string> CodecChanges::changeBy(const InputMessage& message, const MessageKind& kind) const {
  if (message.data.empty()) return std::nullopt;
  if (kind.isAudio()) {
    const auto codec = tagCodec(kAudioTag, firstByte(message)).formatCode;
    // 0 is a codec without a format code. It does not make a new recording.
    if (audio_.codec != 0 && codec != 0 && codec != audio_.codec) return "the audio's codec changes";
    const bool isOther =
        kind.isSequenceHeader() && audio_.hasHeader && !std::ranges::equal(message.data, audio_.header);
    if (isOther) return "the audio's configuration changes";
  }
  if (!kind.isVideo() || !video_.codec || isCommandFrame(message.type, firstByte(message))) return std::nullopt;
  const auto codec = tagCodec(kVideoTag, firstByte(message)).formatCode;
  if (codec != 0 && lowNibble(firstByte(message)) != *video_.codec) return "the video's codec changes";
  // Other changes of the AVC configuration stay in the recording; see adapted().
  if (kind.isSequenceHeader() && video_.hasHeader && !fits(avcBody(message.data), video_.lengthSize)) {
    return "the form of the video's frames changes";
  }
  return std::nullopt;
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
  if (!kind.isVideo() || isCommandFrame(message.type, firstByte(message))) return;
  if (kind.isSequenceHeader()) learnVideoHeader(message);
  if (kind.isFrame()) video_.codec = lowNibble(firstByte(message));
}

void CodecChanges::learnVideoHeader(const InputMessage& message) {
  const auto record = avcBody(message.data);
  const ParameterSets sets(record);
  // The pictures kept so far belong to the configuration before, and cannot begin a recording with this one.
  if (sets != video_.streamSets) pictures_.clear();
  video_.header.assign(message.data.begin(), message.data.end());
  video_.streamLengthSize = nalLengthSize(record);
  video_.streamSets = sets;
  video_.codec = kAvcVideo;
  // The first header is the recording's: the module repeats it before every key frame.
  if (std::exchange(video_.hasHeader, true)) return;
  video_.lengthSize = video_.streamLengthSize;
  video_.sets = sets;
}

void CodecChanges::keepForNext(const InputMessage& message, const MessageKind& kind) {
  // They are only needed if the audio changes; a change of the video begins with a picture that can be decoded.
  if (!hasAudio_ || !kind.isVideo() || kind.isSequenceHeader()) return;
  if (kind.isKeyFrame()) {
    pictures_.clear();
    pictureBytes_ = 0;
  } else if (pictures_.empty()) {
    return;
  }
  pictureBytes_ += message.data.size();
  if (pictureBytes_ > kMostPictureBytes) return pictures_.clear();
  pictures_.emplace_back(message);
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

void CodecChanges::prepareNext(const InputMessage& message, const MessageKind& kind) {
  // They belong to the old codec.
  if (kind.isVideo()) pictures_.clear();
  // All that is sent before the pictures gets the time of the first of them, so that times do not fall.
  const std::uint32_t timeMs = pictures_.empty() ? message.timeMs : pictures_.front().timeMs;
  // An input that makes metadata knows the new codecs; otherwise the stream's last one is sent again.
  auto metadata = input_->metadata();
  if (metadata.empty()) {
    if (!metadata_.data.empty()) ahead_.emplace_back(metadata_.type, timeMs, metadata_.data);
  } else {
    ahead_.emplace_back(kAmf0DataTag, timeMs, std::move(metadata));
  }
  const bool isHeader = kind.isSequenceHeader();
  const bool needsVideo = kind.isVideo() ? kind.isAvc() && !isHeader : hasVideo_ && video_.codec == kAvcVideo;
  const bool needsAudio = kind.isAudio() ? kind.isAac() && !isHeader : hasAudio_ && audio_.codec == "mp4a"_4cc;
  if (needsVideo && !video_.header.empty()) ahead_.emplace_back(kVideoTag, timeMs, currentVideoHeader());
  if (needsAudio && !audio_.header.empty()) ahead_.emplace_back(kAudioTag, timeMs, audio_.header);
  // A header that causes the change goes before the pictures, a frame goes after them.
  if (isHeader) ahead_.emplace_back(message);
  std::move(pictures_.begin(), pictures_.end(), std::back_inserter(ahead_));
  if (!isHeader) ahead_.emplace_back(message);
  pictures_.clear();
}

void CodecChanges::beginRecording() {
  change_.reset();
  isContinued_ = true;
  distanceMs_.reset();
  auto videoHeader = std::move(video_.header);
  auto audioHeader = std::move(audio_.header);
  // The stream's last headers stay: it may return to their codec without repeating them.
  video_ = {};
  audio_ = {};
  video_.header = std::move(videoHeader);
  audio_.header = std::move(audioHeader);
}

std::vector<std::byte> CodecChanges::currentVideoHeader() const {
  if (!video_.hasHeader) return video_.header;
  const auto record = avcBody(video_.header);
  // Parameter sets may have changed within the frames, so the last header may be out of date.
  if (video_.streamSets == ParameterSets(record) || !video_.streamSets.complete()) return video_.header;
  std::vector<std::byte> header(video_.header.begin(), video_.header.begin() + kAvcHeaderSize);
  const auto current = video_.streamSets.configurationRecord(video_.streamLengthSize);
  header.insert(header.end(), current.begin(), current.end());
  return header;
}

InputMessage CodecChanges::adapted(const InputMessage& message, const MessageKind& kind) {
  if (!kind.isAvc() || !kind.isFrame()) return message;
  const auto units = nalUnits(avcBody(message.data), video_.streamLengthSize);
  // A frame that is not well formed is recorded as it is, as is one of a stream without such changes.
  if (!units) return message;
  // Also those of frames that are not key frames: the next key frame needs them.
  video_.streamSets.collect(*units);
  std::vector<NalUnit> sets;
  if (kind.isKeyFrame() && video_.streamSets != video_.sets) sets = missingSets(*units, video_.streamSets);
  if (sets.empty() && video_.streamLengthSize == video_.lengthSize) return message;

  adapted_ = avcFrameWith(sets, *units, message.data.first(kAvcHeaderSize), video_.lengthSize);
  return {.type = message.type, .timeMs = message.timeMs, .data = adapted_};
}

}  // namespace host
