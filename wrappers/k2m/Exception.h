#pragma once

#include <cstdint>
#include <exception>

namespace krvo::k2m {

/// A status of the container library that is not 0.
class Exception : public std::exception {
 public:
  explicit Exception(std::uint32_t status) : status_(status) {}

  std::uint32_t status() const { return status_; }
  /// Empty: the status is all there is to tell.
  const char* what() const noexcept override { return ""; }

 private:
  std::uint32_t status_;
};

/// Throws where `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw Exception(status);
}

}  // namespace krvo::k2m
