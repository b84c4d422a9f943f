#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "server/compositemessage.h"
#include "tests/support/hex.h"

namespace test {

/// A block that holds just these bytes.
inline NQMemoryPtr blockOf(std::span<const std::byte> bytes) {
  auto block = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), block->data());
  return block;
}

/// The root over a body.
inline qvs::CompositeMessagePtr compositeOf(std::span<const std::byte> body) {
  return qvs::CompositeMessagePtr::make(blockOf(body), static_cast<std::uint32_t>(body.size()));
}

inline qvs::CompositeMessagePtr compositeOf(std::string_view image) {
  return compositeOf(fromHex(image));
}

}  // namespace test
