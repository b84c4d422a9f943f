#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "util/StringBlock.h"
#include "util/StringPool.h"
#include "util/diagnostics.h"

namespace qvs::util {

/// A text as callers give it: a length of -1 goes up to the terminator; null, or a length below, gives an empty text.
template <typename Char>
std::basic_string_view<Char> textOf(const Char* text, std::int64_t length) {
  diagnose(std::in_range<std::int32_t>(length));
  if (text == nullptr || length < -1) return {};
  if (length == -1) return std::basic_string_view<Char>(text);
  return {text, static_cast<std::size_t>(length)};
}

/// The units of a UTF-8 text in a block of the process's pool; the empty string where the text is invalid.
StringBlock<char16_t> internUtf8(std::string_view utf8);

}  // namespace qvs::util

/// A string of the message layer, one pointer in size, of bytes or of 16-bit units; counted, and ended by a zero unit
/// as well. Short texts may share their block with equal ones (see StringPool), all others own theirs. An object
/// belongs to one thread at a time. A text may be up to 0xFFFFFF characters, which the caller sees to.
template <typename Char>
class BasicNQString {
 public:
  using View = std::basic_string_view<Char>;

  BasicNQString() = default;
  /// Lengths as told at `textOf`, here and below.
  BasicNQString(const Char* text, std::int64_t length = -1) : BasicNQString(qvs::util::textOf(text, length)) {}
  explicit BasicNQString(View text) : block_(pool().intern(text)) {}
  /// From UTF-8 (see util/typeconvertor.h); empty where that is invalid.
  explicit BasicNQString(std::string_view utf8) requires std::same_as<Char, char16_t>
      : block_(qvs::util::internUtf8(utf8)) {}
  explicit BasicNQString(const char* utf8, std::int64_t length = -1) requires std::same_as<Char, char16_t>
      : BasicNQString(qvs::util::textOf(utf8, length)) {}
  BasicNQString(const BasicNQString& other) : BasicNQString(other.view()) {}
  BasicNQString(BasicNQString&& other) noexcept : block_(std::exchange(other.block_, {})) {}
  BasicNQString& operator=(const BasicNQString& other) {
    if (this != &other) assign(other.view());
    return *this;
  }
  BasicNQString& operator=(BasicNQString&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~BasicNQString() {
    if (!block_.isEmptyString()) pool().release(block_);
  }

  /// A text that is part of this string is fine, here and below.
  void assign(View text) { pool().assign(block_, text); }
  void assign(const Char* text, std::int64_t length = -1) { assign(qvs::util::textOf(text, length)); }
  /// The string then has a block of its own.
  void append(View text) { pool().append(block_, text); }
  void append(const Char* text, std::int64_t length = -1) { append(qvs::util::textOf(text, length)); }
  /// The characters, to be overwritten in place; the string then has a block of its own. Valid until it is next
  /// changed.
  Char* makePrivate() {
    pool().makePrivate(block_);
    return block_.text();
  }

  const Char* c_str() const { return block_.text(); }
  std::size_t length() const { return block_.length(); }
  bool empty() const { return length() == 0; }
  bool isPrivate() const { return block_.isPrivate(); }
  View view() const { return block_.view(); }

  bool operator==(const BasicNQString& other) const { return view() == other.view(); }
  auto operator<=>(const BasicNQString& other) const { return view() <=> other.view(); }

 private:
  static qvs::util::StringPool& pool() { return qvs::util::StringPool::instance(); }

  qvs::util::StringBlock<Char> block_;
};

using NQString = BasicNQString<char16_t>;
using NQNarrowString = BasicNQString<char>;

static_assert(sizeof(NQString) == sizeof(void*) && sizeof(NQNarrowString) == sizeof(void*));
