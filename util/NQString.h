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

/// A text as callers give it: with a length of -1 up to its terminator; null, or a length below -1, gives the empty
/// text. `length` is in characters; one outside of 32 bits is a diagnostic. A view of `text`.
template <typename Char>
std::basic_string_view<Char> textOf(const Char* text, std::int64_t length) {
  diagnose(std::in_range<std::int32_t>(length));
  if (text == nullptr || length < -1) return {};
  if (length == -1) return std::basic_string_view<Char>(text);
  return {text, static_cast<std::size_t>(length)};
}

/// A block of the process's pool with the 16-bit units of a UTF-8 text; the empty string if any part of it is invalid.
StringBlock<char16_t> internUtf8(std::string_view utf8);

}  // namespace qvs::util

/// A string of the message layer, one pointer in size, of bytes or of 16-bit units. It stores its length and ends in a
/// zero unit as well; it may contain zero units. Short texts may share their block with equal ones (see StringPool),
/// all others own theirs. An object belongs to one thread at a time, also when its block is shared. A text has up to
/// 0xFFFFFF characters, which nothing here checks: the caller does. Operations that make a text throw std::bad_alloc
/// and leave the string as it was.
template <typename Char>
class BasicNQString {
 public:
  using View = std::basic_string_view<Char>;

  BasicNQString() = default;
  /// Lengths by the rule at `textOf`, here and below.
  BasicNQString(const Char* text, std::int64_t length = -1) : BasicNQString(qvs::util::textOf(text, length)) {}
  explicit BasicNQString(View text) : block_(pool().intern(text)) {}
  /// From UTF-8 (see util/typeconvertor.h); empty if any part of it is invalid.
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
  /// The other string gets the old text of this one.
  BasicNQString& operator=(BasicNQString&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~BasicNQString() {
    if (!block_.isEmptyString()) pool().release(block_);
  }

  /// `text` may be part of this string, here and below.
  void assign(View text) { pool().assign(block_, text); }
  void assign(const Char* text, std::int64_t length = -1) { assign(qvs::util::textOf(text, length)); }
  /// The string then has a block of its own.
  void append(View text) { pool().append(block_, text); }
  void append(const Char* text, std::int64_t length = -1) { append(qvs::util::textOf(text, length)); }
  /// The characters, to be overwritten in place; the string then has a block of its own. Valid until the next change of
  /// the string, as `c_str` and `view` are. The terminator is not to be overwritten.
  Char* makePrivate() {
    pool().makePrivate(block_);
    return block_.text();
  }

  const Char* c_str() const { return block_.text(); }
  /// In characters: bytes or units.
  std::size_t length() const { return block_.length(); }
  bool empty() const { return length() == 0; }
  /// Whether the string has its block for itself; false for the empty string.
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

// One pointer, whatever the text: the length is in the block.
static_assert(sizeof(NQString) == sizeof(void*) && sizeof(NQNarrowString) == sizeof(void*));
