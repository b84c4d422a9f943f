#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "server/compositemessage.h"
#include "tests/support/hex.h"

namespace test {

/// A message of a raw type byte and a payload.
inline qvs::SingleMessagePtr messageOf(std::uint8_t type, std::string_view payloadImage) {
  const auto message = NQMessagePtr::make(0U);
  auto header = fromHex("00000000 00000000 000000");
  header[0] = std::byte{type};
  message->setHeader(qvs::Message::Header(header));
  message->append(fromHex(payloadImage));
  return message;
}

/// A block that holds just these bytes.
inline NQMemoryPtr blockOf(std::span<const std::byte> bytes) {
  auto block = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::ranges::copy(bytes, block->data());
  return block;
}

/// The aggregate over a body.
inline qvs::CompositeMessagePtr compositeOf(std::string_view bodyImage) {
  const auto body = fromHex(bodyImage);
  return qvs::CompositeMessagePtr::make(blockOf(body), static_cast<std::uint32_t>(body.size()));
}

}  // namespace test
