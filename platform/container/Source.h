#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace krvo::container {

/// Bytes that are read in any order: a segment file.
class Source {
 public:
  virtual std::uint64_t size() = 0;
  /// Fills `out` from `offset` on. Throws where that reaches beyond the end, or the reading fails.
  virtual void read(std::uint64_t offset, std::span<std::byte> out) = 0;

 protected:
  ~Source() = default;
};

}  // namespace krvo::container
