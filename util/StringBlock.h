#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvs::util {

inline constexpr std::size_t kStringHeaderSize = 4;
/// What every empty string points into.
alignas(kStringHeaderSize) inline std::byte emptyStringBlock[kStringHeaderSize + sizeof(char16_t)] = {};

/// The block of a counted string of bytes or 16-bit units, as a handle of one pointer, which points at the text:
///
///     -4  u24  length in characters        0            the text
///     -1  u8   1 private, 0 pooled         length       one zero unit
///
/// A private block belongs to one string, which may write it; its room follows from its length. A pooled block has no
/// spare room and is never written. The handle frees nothing: whoever made a block destroys it.
template <typename Char>
class StringBlock {
 public:
  using View = std::basic_string_view<Char>;

  /// The empty string: one block for both widths, known by its address, neither written nor destroyed.
  StringBlock() : text_(textOf(emptyStringBlock)) {}
  /// A private block with one text behind the other.
  static StringBlock makePrivate(View head, View tail = {});
  static StringBlock makePooled(View text);

  const Char* text() const { return text_; }
  /// To be written only while the block is private.
  Char* text() { return text_; }
  /// A text above 0xFFFFFF characters keeps the low 24 bits of its length only.
  std::size_t length() const;
  View view() const { return {text_, length()}; }
  bool isPrivate() const;
  bool isEmptyString() const { return text_ == textOf(emptyStringBlock); }

  /// Whether a text of that length can be put in place.
  bool hasRoomFor(std::size_t length) const;
  /// Puts `text` behind the first `offset` characters, and ends the string behind it. The block has room; `text` may be
  /// part of it.
  void overwrite(std::size_t offset, View text);

  /// Characters that a private block of a text has room for, terminator included: whole steps of 32.
  static constexpr std::size_t capacityFor(std::size_t length) { return (((length + 1) >> 5) + 1) * 32; }
  /// Bytes of such a block.
  static constexpr std::size_t privateSize(std::size_t length) {
    return kStringHeaderSize + capacityFor(length) * sizeof(Char);
  }

  void destroy();

  bool operator==(const StringBlock&) const = default;

 private:
  explicit StringBlock(Char* text) : text_(text) {}
  static StringBlock make(std::size_t room, std::byte kind);
  static Char* textOf(std::byte* block) { return static_cast<Char*>(static_cast<void*>(block + kStringHeaderSize)); }
  std::byte* header() const { return static_cast<std::byte*>(static_cast<void*>(text_)) - kStringHeaderSize; }

  Char* text_;
};

extern template class StringBlock<char>;
extern template class StringBlock<char16_t>;

}  // namespace qvs::util
