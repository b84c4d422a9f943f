#pragma once

#include <string>
#include <vector>

#include "host/serve/http/Body.h"

namespace test {

/// The bytes of a body, in reads of `step` bytes.
inline std::string contentOf(const host::serve::Body& body, std::size_t step = 65521) {
  std::string content;
  std::vector<std::byte> buffer(step);
  while (const std::size_t count = body.read(content.size(), buffer)) {
    content.append(reinterpret_cast<const char*>(buffer.data()), count);
  }
  return content;
}

}  // namespace test
