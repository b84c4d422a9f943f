#pragma once

#include <fstream>
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

/// A new file with that content.
inline host::serve::Body::File fileWith(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
  return std::make_shared<platform::os::Descriptor>(path, O_RDONLY);
}

}  // namespace test
