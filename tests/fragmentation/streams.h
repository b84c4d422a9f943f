#pragma once

#include <cstddef>
#include <span>
#include <sstream>
#include <streambuf>
#include <string>

namespace test {

/// A stream of these bytes.
inline std::istringstream streamOf(std::span<const std::byte> bytes) {
  return std::istringstream(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

/// A disk without room: such a buffer takes no byte.
struct FullDisk : std::streambuf {};

}  // namespace test
