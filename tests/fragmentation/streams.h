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

/// A disk with room for a number of bytes.
class FullDisk : public std::streambuf {
 public:
  explicit FullDisk(std::streamsize room) : room_(room) {}

 protected:
  int_type overflow(int_type c) override { return room_-- > 0 ? traits_type::not_eof(c) : traits_type::eof(); }

 private:
  std::streamsize room_;
};

}  // namespace test
