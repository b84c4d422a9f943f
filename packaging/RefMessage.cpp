#include "packaging/RefMessage.h"

namespace ruvo::k2rpkgutil {

RefMessage::RefMessage(std::uint8_t type, const std::byte* data, std::uint32_t size, std::uint32_t timestamp)
    : RefMessage(type, timestamp, size, data, data, size) {
  const std::uint32_t codecHeader = codecHeaderSize(type, data, size);
  sample_ += codecHeader;
  sampleSize_ -= codecHeader;
}

RefMessage::RefMessage(std::uint8_t type, std::uint32_t timestamp, std::uint32_t size, const std::byte* data,
                       const std::byte* sample, std::uint32_t sampleSize)
    : data_(data), size_(size), sample_(sample), sampleSize_(sampleSize) {
  qvs::util::writeTagHeader(header_.data(), type, size, timestamp);
}

}  // namespace ruvo::k2rpkgutil
