#include "util/tagHeader.h"

namespace qvs::util {
namespace {

void put(std::byte* at, int width, std::uint32_t value) {
  for (int i = 0; i < width; ++i) at[i] = static_cast<std::byte>(value >> (8 * (width - 1 - i)));
}

std::uint32_t get(const std::byte* at, int width) {
  std::uint32_t value = 0;
  for (int i = 0; i < width; ++i) value = value << 8 | std::to_integer<std::uint32_t>(at[i]);
  return value;
}

}  // namespace

void writeTagHeader(std::byte* header, std::uint8_t type, std::uint32_t dataSize, std::uint32_t timestamp) {
  header[0] = static_cast<std::byte>(type);
  put(header + 1, 3, dataSize);
  setTagTimestamp(header, timestamp);
  put(header + 8, 3, 0);
}

void writeTagBackPointer(std::byte* at, std::uint32_t dataSize) {
  put(at, 4, dataSize + static_cast<std::uint32_t>(kTagHeaderSize));
}

void setTagTimestamp(std::byte* header, std::uint32_t timestamp) {
  put(header + 4, 3, timestamp);
  put(header + 7, 1, timestamp >> 24);
}

std::uint32_t tagTimestamp(const std::byte* header) {
  return get(header + 7, 1) << 24 | get(header + 4, 3);
}

std::uint32_t tagDataSize(const std::byte* header) {
  return get(header + 1, 3);
}

}  // namespace qvs::util
