#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include "util/NQString.h"

/// Base of the failures of the message layer. A std::exception, so that guards at the host's boundary that know nothing
/// of this layer catch it.
class NQThrowable : public std::exception {
 public:
  const char* what() const noexcept override { return "message layer failure"; }
};

/// A failure with a text. The text is wide, so what() has the fixed text of the base.
class NQException : public NQThrowable {
 public:
  explicit NQException(NQString text) : text_(std::move(text)) {}

  const NQString& text() const { return text_; }

 private:
  NQString text_;
};

/// Script data that cannot be read or written; nothing more of it is to be trusted. A server would end the connection
/// that it came from.
class NQBreakConnection : public NQThrowable {
 public:
  /// The code of every failure of the codec.
  static constexpr std::uint32_t kBadScriptData = 0xC0000405;

  explicit NQBreakConnection(std::uint32_t code) : code_(code) {}

  const char* what() const noexcept override { return "malformed script data"; }
  std::uint32_t code() const { return code_; }

 private:
  std::uint32_t code_;
};

/// No block could be had for a message.
class NQOutOfMemory : public NQThrowable {
 public:
  const char* what() const noexcept override { return "no memory for a message"; }
};
