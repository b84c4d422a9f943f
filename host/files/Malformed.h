#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace host {

/// The bytes of a file are not what their format says.
class Malformed : public std::runtime_error {
 public:
  /// `offset` counts from the start of the file.
  Malformed(std::uint64_t offset, const std::string& reason) : std::runtime_error(reason), offset_(offset) {}

  std::uint64_t offset() const { return offset_; }

 private:
  std::uint64_t offset_;
};

}  // namespace host
