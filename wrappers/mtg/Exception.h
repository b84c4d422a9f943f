#pragma once

#include <cstdint>
#include <exception>

#include "platform/tagstream/krvo_mtg.h"

namespace mtg {

/// A status of the tag-stream library that is not 0.
class Exception : public std::exception {
 public:
  explicit Exception(std::uint32_t status) : status_(status) {}

  std::uint32_t status() const { return status_; }
  /// The status is all there is to tell.
  const char* what() const noexcept override { return "tag-stream error"; }

 private:
  std::uint32_t status_;
};

/// Throws where `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw Exception(status);
}

}  // namespace mtg
