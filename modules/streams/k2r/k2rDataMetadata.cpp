// Script data that steers the recording: the metadata that a new one begins with, and the stream's time offset.

#include <algorithm>
#include <cctype>
#include <span>
#include <string_view>
#include <utility>

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "shared_nqserver/NQDataArray.h"
#include "util/tagHeader.h"

namespace qvs::k2r {
namespace {

bool hasNamedMembers(NQDataKind kind) {
  return kind == NQDataKind::kObjectType || kind == NQDataKind::kArrayType || kind == NQDataKind::kAvmPlusObjectType;
}

bool isNumber(NQDataKind kind) {
  return kind == NQDataKind::kNumberType || kind == NQDataKind::kInt64Type;
}

bool equalInAnyCase(std::string_view text, std::string_view lowerCase) {
  return text.size() == lowerCase.size() && std::equal(text.begin(), text.end(), lowerCase.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == b;
         });
}

/// Milliseconds of a number of seconds, truncated and taken modulo 2^32; 0 where it is beyond any time.
std::uint32_t toMilliseconds(double seconds) {
  constexpr double kBound = static_cast<double>(std::int64_t{1} << 62);
  const double milliseconds = seconds * 1000.0;
  if (!(milliseconds > -kBound && milliseconds < kBound)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(milliseconds));
}

}  // namespace

K2RData::Check K2RData::checkMetadata(const RefMessage& message) {
  if (captureMetadata(message)) return Check::kSkip;
  if ((openFlags_ & kOpenAppend) == 0 && !metadataCommand_) {
    streamContext_->log("Metadata is expected before other messages.", kIMOLogError, true);
    return Check::kRefuse;
  }
  return Check::kAccept;
}

bool K2RData::captureMetadata(const RefMessage& message) {
  if (metadataCommand_ || !message.isData()) return false;
  auto command = std::make_shared<NQCommand>(static_cast<MessageKind>(message.type()),
                                             std::span(message.data(), message.dataSize()), true);
  if (command->nameText() != "onMetaData") return false;
  metadataCommand_ = std::move(command);
  takePictureSize(metadataCommand_->argument(0));
  return true;
}

void K2RData::takePictureSize(const NQDataValue& metadata) {
  if (!hasNamedMembers(metadata.kind())) return;
  const NQDataArray& members = *metadata.array();
  // The first member of an AMF3 object names its class.
  for (std::size_t i = metadata.kind() == NQDataKind::kAvmPlusObjectType ? 1 : 0; i < members.size(); ++i) {
    const NQDataValue& value = members.value(i);
    if (!isNumber(value.kind())) continue;
    const std::string_view name = members.name(i).view();
    const auto number = static_cast<std::uint32_t>(value.toInt64());
    if (equalInAnyCase(name, "height")) videoHeight_ = number;
    if (equalInAnyCase(name, "width")) videoWidth_ = number;
  }
}

void K2RData::updateMediaContext(std::uint8_t messageType, const std::byte* data, std::uint32_t size) {
  const NQCommand command(static_cast<MessageKind>(messageType & util::kTagTypeMask), std::span(data, size), false);
  if (command.nameText() != "onTimeCoordInfo") return;
  const NQDataArray* const members = command.argument(0).array();
  if (members == nullptr) return;
  for (std::size_t i = 0; i < members->size(); ++i) {
    if (members->name(i).view() != "stream-absolute") continue;
    absoluteOffset_ = toMilliseconds(members->value(i).toDouble());
    absoluteOffsetSet_ = true;
  }
}

}  // namespace qvs::k2r
