#include "host/input/messageKind.h"

#include <algorithm>

#include "packaging/tagCodec.h"
#include "util/bytes.h"

namespace host {

using namespace ruvo::k2rpkgutil;

namespace {

/// Whether the first value is the string "onMetaData". AMF0 has a marker and the length before the text; an AMF3
/// message has a zero byte before that.
bool isNamedOnMetaData(std::span<const std::byte> data) {
  constexpr std::string_view kName("\x02\x00\x0aonMetaData", 13);
  if (!data.empty() && data[0] == std::byte{0}) data = data.subspan(1);
  const auto name = qvs::util::asBytes(kName);
  return data.size() >= name.size() && std::equal(name.begin(), name.end(), data.begin());
}

}  // namespace

MessageKind::MessageKind(const InputMessage& message) : empty_(message.data.empty()) {
  const unsigned type = message.type & qvs::util::kTagTypeMask;
  video_ = type == kVideoTag;
  audio_ = type == kAudioTag;
  metadata_ = (type == kAmf0DataTag || type == kAmf3DataTag) && isNamedOnMetaData(message.data);
  if (!empty_) first_ = std::to_integer<std::uint8_t>(message.data[0]);
  if (message.data.size() > 1) second_ = std::to_integer<std::uint8_t>(message.data[1]);
}

bool MessageKind::isAvc() const {
  return video_ && !empty_ && lowNibble(first_) == kAvcVideo;
}

bool MessageKind::isAac() const {
  return audio_ && !empty_ && highNibble(first_) == kAacAudio;
}

bool MessageKind::isSequenceHeader() const {
  return ((isAvc() && highNibble(first_) != kCommandFrame) || isAac()) && second_ == kSequenceHeader;
}

bool MessageKind::isFrame() const {
  if (empty_ || !(video_ || audio_) || isSequenceHeader()) return false;
  return audio_ || (highNibble(first_) != kCommandFrame && !(isAvc() && second_ == kAvcEndOfSequence));
}

bool MessageKind::isKeyFrame() const {
  return video_ && isFrame() && highNibble(first_) == kKeyFrame;
}

}  // namespace host
