// Script data that controls the recording: the metadata at the start of a new one, and the time offset of the stream.

#include <span>
#include <string>

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "server/NQCommand.h"
#include "server/common/contextmessage.h"
#include "shared_nqserver/NQDataArray.h"
#include "util/asciiCase.h"
#include "util/tagHeader.h"

namespace qvs::k2r {

K2RData::Check K2RData::checkMetadata(const RefMessage& message) {
  if (captureMetadata(message)) return Check::kSkip;
  // Only a new recording needs the picture size for its track headers; an append has them in the file.
  if ((openFlags_ & kOpenAppend) == 0 && !metadataTaken_) {
    streamContext_->log("Metadata is expected before other messages.", kIMOLogError, true);
    return Check::kRefuse;
  }
  return Check::kAccept;
}

bool K2RData::captureMetadata(const RefMessage& message) {
  if (metadataTaken_ || !message.isData()) return false;
  const NQCommand command(static_cast<MessageKind>(message.type()), std::span(message.data(), message.dataSize()),
                          true);
  if (command.nameText() != "onMetaData") return false;
  // Later ones are recorded like any script data.
  metadataTaken_ = true;
  // The rest is dropped: a publisher may send megabytes, and a server has a thousand streams.
  takePictureSize(command.argument(0));
  return true;
}

void K2RData::takePictureSize(const NQDataValue& metadata) {
  if (!isDescription(metadata.kind())) return;
  const NQDataArray& members = *metadata.array();
  // The first member of an AMF3 object names its class.
  for (std::size_t i = metadata.kind() == NQDataKind::kAvmPlusObjectType ? 1 : 0; i < members.size(); ++i) {
    const NQDataValue& value = members.value(i);
    if (!isNumber(value.kind())) continue;
    const std::string name = members.name(i);
    const auto number = static_cast<std::uint32_t>(value.toInt64());
    if (util::equalInAnyCase(name, "height")) videoHeight_ = number;
    if (util::equalInAnyCase(name, "width")) videoWidth_ = number;
  }
}

void K2RData::updateMediaContext(std::uint8_t messageType, std::uint32_t time, std::span<const std::byte> data) {
  const auto message = NQMessagePtr::make(0U);
  message->setType(static_cast<MessageKind>(messageType & util::kTagTypeMask));
  message->setTimestamp(time);
  if (!message->append(data)) return;
  const auto offset = readTimeOffset(message);
  if (!offset) return;
  absoluteOffset_ = *offset;
  absoluteOffsetSet_ = true;
}

}  // namespace qvs::k2r
