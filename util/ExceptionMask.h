#pragma once

#include <ios>

namespace qvs::util {

/// Gives a stream another exception mask for the length of a scope. Throws std::ios_base::failure where the stream is
/// already in a state that the new mask names; the old mask is then back. `stream` outlives it.
class ExceptionMask {
 public:
  ExceptionMask(std::ios& stream, std::ios_base::iostate mask) : stream_(stream), old_(stream.exceptions()) {
    try {
      stream_.exceptions(mask);
    } catch (const std::ios_base::failure&) {
      restore();
      throw;
    }
  }
  ~ExceptionMask() { restore(); }
  ExceptionMask(const ExceptionMask&) = delete;
  ExceptionMask& operator=(const ExceptionMask&) = delete;

 private:
  /// Putting back a mask raises at once where the stream is in a state that the mask names. The caller knows of that
  /// state from the operation that met it.
  void restore() noexcept {
    try {
      stream_.exceptions(old_);
    } catch (const std::ios_base::failure&) {
    }
  }

  std::ios& stream_;
  std::ios_base::iostate old_;
};

}  // namespace qvs::util
