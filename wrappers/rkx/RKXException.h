#pragma once

#include <cstdint>
#include <exception>

namespace rkx {

/// A status of the encryption library other than 0, see RKXStatusCode. The host's log gets the number.
class RKXException : public std::exception {
 public:
  explicit RKXException(std::uint32_t status) : status_(status) {}

  std::uint32_t status() const { return status_; }
  /// Fixed, since the library gives a number only.
  const char* what() const noexcept override { return "RKX error"; }

 private:
  std::uint32_t status_;
};

/// Throws RKXException if `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw RKXException(status);
}

}  // namespace rkx
