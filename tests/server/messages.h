#pragma once

#include <cstdint>
#include <string_view>

#include "shared_nqserver/nqmessage.h"
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

}  // namespace test
