#include "host/input/RecordedVideo.h"

#include <algorithm>
#include <span>
#include <utility>

#include "host/input/avcFrame.h"
#include "packaging/tagCodec.h"

namespace host {

using namespace ruvo::k2rpkgutil;

namespace {

using Bytes = std::span<const std::byte>;

/// Frame type and codec, packet type, composition time.
constexpr std::size_t kAvcHeaderSize = 5;

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

std::optional<std::string> RecordedVideo::change(const InputMessage& message, const MessageKind& kind) const {
  if (!kind.isVideo() || !codec_ || isCommandFrame(message.type, firstByte(message))) return std::nullopt;
  const auto codec = tagCodec(kVideoTag, firstByte(message)).formatCode;
  if (codec != 0 && lowNibble(firstByte(message)) != *codec_) return "the video's codec changes";
  // Other changes of the AVC configuration stay in the recording; see adapted().
  if (kind.isSequenceHeader() && hasHeader_ && !fits(avcBody(message.data), lengthSize_)) {
    return "the form of the video's frames changes";
  }
  return std::nullopt;
}

void RecordedVideo::learn(const InputMessage& message, const MessageKind& kind) {
  if (!kind.isVideo() || isCommandFrame(message.type, firstByte(message))) return;
  if (kind.isSequenceHeader()) learnHeader(message);
  if (kind.isFrame()) codec_ = lowNibble(firstByte(message));
}

void RecordedVideo::learnHeader(const InputMessage& message) {
  const auto record = avcBody(message.data);
  const ParameterSets sets(record);
  header_.assign(message.data.begin(), message.data.end());
  streamLengthSize_ = nalLengthSize(record);
  streamSets_ = sets;
  codec_ = kAvcVideo;
  // The first header is the recording's: the module repeats it before every key frame.
  if (std::exchange(hasHeader_, true)) return;
  lengthSize_ = streamLengthSize_;
  sets_ = sets;
}

bool RecordedVideo::isAvc() const {
  return codec_ == kAvcVideo;
}

std::optional<std::vector<NalUnit>> RecordedVideo::collectSets(const InputMessage& message, const MessageKind& kind) {
  const bool hasBody = message.data.size() >= kAvcHeaderSize;
  if (!kind.isAvc() || !kind.isFrame() || !hasBody) return std::nullopt;
  auto units = nalUnits(avcBody(message.data), streamLengthSize_);
  if (units) streamSets_.collect(*units);
  return units;
}

InputMessage RecordedVideo::adapted(const InputMessage& message, const MessageKind& kind) {
  // Also those of frames that are not key frames: the next key frame needs them.
  const auto units = collectSets(message, kind);
  // A frame that is not well formed is recorded as it is, as is one of a stream without such changes.
  if (!units) return message;
  std::vector<NalUnit> sets;
  if (kind.isKeyFrame() && streamSets_ != sets_) sets = missingSets(*units, streamSets_);
  if (sets.empty() && streamLengthSize_ == lengthSize_) return message;

  adapted_ = avcFrameWith(sets, *units, message.data.first(kAvcHeaderSize), lengthSize_);
  InputMessage result = message;
  result.data = adapted_;
  return result;
}

std::vector<std::byte> RecordedVideo::currentHeader() const {
  if (!hasHeader_) return header_;
  const auto record = avcBody(header_);
  // Parameter sets may have changed within the frames, so the last header may be out of date.
  if (streamSets_ == ParameterSets(record) || !streamSets_.complete()) return header_;
  auto header = header_;
  // The last header may have ended early; its composition time is 0 in any case.
  header.resize(kAvcHeaderSize);
  const auto current = streamSets_.configurationRecord(streamLengthSize_);
  header.insert(header.end(), current.begin(), current.end());
  return header;
}

void RecordedVideo::beginRecording() {
  // The stream's last header stays: the stream may return to its codec without repeating it.
  auto header = std::move(header_);
  *this = {};
  header_ = std::move(header);
}

}  // namespace host
