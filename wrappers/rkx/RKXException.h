#pragma once

#include <cstdint>
#include <exception>

namespace rkx {

/// A status of the encryption library that is not 0.
class RKXException : public std::exception {
 public:
  explicit RKXException(std::uint32_t status) : status_(status) {}

  std::uint32_t status() const { return status_; }
  /// The status is all there is to tell.
  const char* what() const noexcept override { return "RKX error"; }

 private:
  std::uint32_t status_;
};

/// Throws where `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw RKXException(status);
}

}  // namespace rkx
