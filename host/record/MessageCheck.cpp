#include "host/record/MessageCheck.h"

#include "packaging/EncryptedK2RMediaWriterPolicy.h"
#include "packaging/RefMessage.h"
#include "packaging/SampleDescriptors.h"
#include "server/NQCommand.h"
#include "util/tagHeader.h"

namespace host {

using ruvo::k2rpkgutil::RefMessage;

namespace {

RefMessage viewOf(const InputMessage& message) {
  return {message.type, message.data.data(), static_cast<std::uint32_t>(message.data.size()), message.timeMs};
}

/// Whether the module takes the message's content and stores no tag for it: sequence headers, which it writes itself
/// before key frames, and commands to the player.
bool isSkipped(const RefMessage& message) {
  if (message.isVideo() && message.isCommandFrame()) return true;
  const auto packet = message.packetType();
  if (!packet) return false;
  return *packet == ruvo::k2rpkgutil::kSequenceHeader ||
         (message.isVideo() && *packet == ruvo::k2rpkgutil::kAvcEndOfSequence);
}

/// Whether the segment writer stores the message. It accepts the known tag types with the filter bit or without, and
/// the codecs that have a sample entry; 8 kHz MP3 has no format code and is stored nevertheless.
bool isStored(const RefMessage& message) {
  using namespace ruvo::k2rpkgutil;
  if ((qvs::util::tagRawType(message.header()) & ~(qvs::util::kTagTypeMask | kTagProtectedBit)) != 0) return false;
  return message.formatCode() != 0 || (message.isAudio() && highNibble(message.firstByte()) == kMp3At8kHzAudio);
}

}  // namespace

MessageCheck::MessageCheck(const std::optional<TrackCodecs>& stored, bool isProtected)
    : mostData_(isProtected ? ruvo::k2rpkgutil::kMaxProtectedDataSize : qvs::util::kMaxTagDataSize),
      codecs_(stored.value_or(TrackCodecs{})),
      fixed_(stored.has_value()),
      continued_(stored.has_value()) {}

Reception MessageCheck::judge(const InputMessage& message) {
  madeTrack_ = false;
  const std::uint8_t type = message.type & qvs::util::kTagTypeMask;
  const bool isAudio = type == ruvo::k2rpkgutil::kAudioTag;
  const bool isData = type == ruvo::k2rpkgutil::kAmf0DataTag || type == ruvo::k2rpkgutil::kAmf3DataTag;
  if (!isAudio && !isData && type != ruvo::k2rpkgutil::kVideoTag) return Reception::kRefused;
  if (message.data.empty()) return isAudio ? Reception::kSkipped : Reception::kRefused;
  // In the module's order: the size is checked before metadata is decoded.
  if (message.data.size() > mostData_) return Reception::kRefused;
  if (isData && !hasMetadata_) {
    try {
      if (takeMetadata(message)) return Reception::kSkipped;
    } catch (const NQBreakConnection&) {
      return Reception::kRefused;
    }
  }
  if (!continued_ && !hasMetadata_) return Reception::kRefused;
  return judgeTrack(message);
}

bool MessageCheck::takeMetadata(const InputMessage& message) {
  const auto kind = static_cast<qvs::MessageKind>(message.type & qvs::util::kTagTypeMask);
  hasMetadata_ = NQCommand(kind, message.data, true).nameText() == "onMetaData";
  return hasMetadata_;
}

Reception MessageCheck::judgeTrack(const InputMessage& message) {
  const RefMessage view = viewOf(message);
  auto& codec = codecs_[static_cast<std::size_t>(view.sampleInfo().kind)];
  if (!codec) {
    if (fixed_ || !ruvo::k2rpkgutil::makeSampleDescriptor(view, 0, 0)) return Reception::kRefused;
    codec = view.formatCode();
    madeTrack_ = true;
  }
  if (codec != view.formatCode()) return Reception::kRefused;
  if (isSkipped(view)) return Reception::kSkipped;
  return isStored(view) ? Reception::kRecorded : Reception::kPassedOver;
}

}  // namespace host
