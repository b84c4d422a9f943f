#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace host {

/// The bytes of a file do not have the form of its format. inFile() turns it into a CommandError with the file's name.
class Malformed : public std::runtime_error {
 public:
  /// `offset` in bytes from the start of the file; 0 for the file as a whole. `reason` is for the user.
  Malformed(std::uint64_t offset, const std::string& reason) : std::runtime_error(reason), offset_(offset) {}

  std::uint64_t offset() const { return offset_; }

 private:
  std::uint64_t offset_;
};

}  // namespace host
