#include "packaging/Message.h"

namespace ruvo::k2rpkgutil {

using namespace qvs::util;

std::uint32_t Message::time() const {
  return timestamp();
}

std::uint8_t Message::type() const {
  return tagRawType(header()) & kTagTypeMask;
}

std::uint32_t Message::timestamp() const {
  return tagTimestamp(header());
}

bool Message::isKeyFrame() const {
  return isVideo() && highNibble(firstByte()) == kKeyFrame;
}

bool Message::isCommandFrame() const {
  return k2rpkgutil::isCommandFrame(type(), firstByte());
}

FourCC Message::formatCode() const {
  return tagCodec(type(), firstByte()).formatCode;
}

std::optional<std::uint8_t> Message::packetType() const {
  const FourCC code = formatCode();
  // The code comes from a tag, so AVC is always "H264" here; "avc1" occurs only in descriptions of files.
  if (dataSize() < 2 || (code != "H264"_4cc && code != "mp4a"_4cc)) return std::nullopt;
  return std::to_integer<std::uint8_t>(data()[1]);
}

ruvo::k2r::SampleInfo Message::sampleInfo() const {
  return ruvo::k2r::SampleInfo::ofMessage(type(), {data(), dataSize()}, time());
}

std::uint8_t Message::firstByte() const {
  return dataSize() == 0 ? std::uint8_t{0} : std::to_integer<std::uint8_t>(data()[0]);
}

std::uint32_t codecHeaderSize(std::uint8_t type, const std::byte* data, std::uint32_t size) {
  if (size == 0) return 0;
  const std::uint32_t count = tagCodec(type, std::to_integer<std::uint8_t>(data[0])).headerSize;
  // A tag that is too short is no error here: it is stored as it came, with all of its data as sample.
  return count > size ? 0 : count;
}

}  // namespace ruvo::k2rpkgutil
