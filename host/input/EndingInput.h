#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "host/input/Input.h"

namespace host {

/// An input whose failure is only its end at first: what was read before it is recorded before the failure is thrown.
/// Belongs to one thread.
class EndingInput {
 public:
  /// `input` outlives it.
  explicit EndingInput(Input& input) : input_(input) {}

  /// Returns the next message, or nothing at the end and after a failure. Does not call the input again then.
  std::optional<InputMessage> read() {
    if (hasEnded_) return std::nullopt;
    try {
      auto message = input_.next();
      hasEnded_ = !message;
      return message;
    } catch (...) {
      hasEnded_ = true;
      failure_ = std::current_exception();
      return std::nullopt;
    }
  }
  /// Throws what the input has failed with, unless that was thrown already.
  void throwFailure() {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  }

 private:
  Input& input_;
  bool hasEnded_ = false;
  std::exception_ptr failure_;
};

}  // namespace host
