#pragma once

#include <ios>

namespace qvs::util {

/// Gives a stream another exception mask until the end of a scope, so that readers and writers need not check each
/// call. `stream` outlives it. Scopes may nest.
class ExceptionMask {
 public:
  /// Throws std::ios_base::failure if the stream is already in a state that `mask` names; the old mask is then
  /// restored.
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
  /// Setting a mask throws at once if the stream is in a state that the mask names. Swallowed here: this runs in a
  /// destructor, and the operation that caused the state has already reported it.
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
