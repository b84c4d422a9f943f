#include "util/tagHeader.h"

#include "util/bytes.h"

namespace qvs::util {

void writeTagHeader(std::byte* header, std::uint8_t type, std::uint32_t dataSize, std::uint32_t timestamp) {
  header[0] = static_cast<std::byte>(type);
  setTagDataSize(header, dataSize);
  setTagTimestamp(header, timestamp);
  setTagStreamId(header, 0);
}

void writeTagBackPointer(std::byte* at, std::uint32_t dataSize) {
  storeBigEndian(at, 4, dataSize + static_cast<std::uint32_t>(kTagHeaderSize));
}

void setTagDataSize(std::byte* header, std::uint32_t dataSize) {
  storeBigEndian(header + 1, 3, dataSize);
}

void setTagTimestamp(std::byte* header, std::uint32_t timestamp) {
  // Each store takes the low bytes of its value, so the first drops the high 8 bits.
  storeBigEndian(header + 4, 3, timestamp);
  storeBigEndian(header + 7, 1, timestamp >> 24);
}

void setTagStreamId(std::byte* header, std::uint32_t streamId) {
  storeBigEndian(header + 8, 3, streamId);
}

std::uint32_t tagDataSize(const std::byte* header) {
  return static_cast<std::uint32_t>(loadBigEndian(header + 1, 3));
}

std::uint32_t tagTimestamp(const std::byte* header) {
  return static_cast<std::uint32_t>(loadBigEndian(header + 7, 1) << 24 | loadBigEndian(header + 4, 3));
}

std::uint32_t tagStreamId(const std::byte* header) {
  return static_cast<std::uint32_t>(loadBigEndian(header + 8, 3));
}

}  // namespace qvs::util
