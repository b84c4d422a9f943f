#pragma once

#include <exception>
#include <string>
#include <utility>

namespace qvs {

/// A failure with a text for the host's log, in UTF-8. Base of every failure that the recording engine and the packager
/// raise themselves; failures of the platform libraries have their own classes in `wrappers`.
class QVSException : public std::exception {
 public:
  /// `message` is for a log: one line.
  explicit QVSException(std::string message) : message_(std::move(message)) {}

  /// The same text; a view that lives as long as the exception.
  const char* what() const noexcept override { return message_.c_str(); }

  /// A copy of the text, as it is written to the host's log.
  virtual std::string message() const { return message_; }

 private:
  std::string message_;
};

}  // namespace qvs
