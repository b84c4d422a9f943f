#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include "util/NQString.h"

/// Base of the failures of the message layer; a standard exception, so that the guards around its callers see it.
class NQThrowable : public std::exception {
 public:
  const char* what() const noexcept override { return "message layer failure"; }
};

/// A failure with a text.
class NQException : public NQThrowable {
 public:
  explicit NQException(NQString text) : text_(std::move(text)) {}

  const NQString& text() const { return text_; }

 private:
  NQString text_;
};

/// Script data that cannot be read or written; what it came from is not to be trusted any further.
class NQBreakConnection : public NQThrowable {
 public:
  /// What the codec itself throws.
  static constexpr std::uint32_t kBadScriptData = 0xC0000405;

  explicit NQBreakConnection(std::uint32_t code) : code_(code) {}

  const char* what() const noexcept override { return "malformed script data"; }
  std::uint32_t code() const { return code_; }

 private:
  std::uint32_t code_;
};

class NQOutOfMemory : public NQThrowable {
 public:
  const char* what() const noexcept override { return "no memory for a message"; }
};
