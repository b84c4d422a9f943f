#pragma once

#include <cstddef>
#include <string_view>

namespace qvs::util {

inline constexpr std::size_t kStringHeaderSize = 4;
/// Every empty string of either width points into this block. Zero throughout: length 0, terminator of 16 bits.
alignas(kStringHeaderSize) inline std::byte emptyStringBlock[kStringHeaderSize + sizeof(char16_t)] = {};

/// The block of a counted string of bytes or 16-bit units, as a handle of one pointer, which points to the text.
/// Offsets -4 and -1 are bytes before it, the others characters:
///
///     -4  u24  length in characters        0            the text
///     -1  u8   1 private, 0 pooled         length       one zero unit
///
/// A private block belongs to one string, which may write it; its capacity is not stored but follows from its length. A
/// pooled block has no spare room and is never written. The handle owns nothing: whoever made a block destroys it.
template <typename Char>
class StringBlock {
 public:
  using View = std::basic_string_view<Char>;

  /// The empty string: one block for both widths, recognised by its address, neither written nor destroyed.
  StringBlock() : text_(textOf(emptyStringBlock)) {}
  /// A new private block with `head` and, after it, `tail`. Throws std::bad_alloc.
  static StringBlock makePrivate(View head, View tail = {});
  /// A new pooled block. Throws std::bad_alloc.
  static StringBlock makePooled(View text);

  const Char* text() const { return text_; }
  /// May be written only while the block is private.
  Char* text() { return text_; }
  /// In characters. Of a text of more than 0xFFFFFF only the low 24 bits are stored: callers keep below that.
  std::size_t length() const;
  View view() const { return {text_, length()}; }
  bool isPrivate() const;
  bool isEmptyString() const { return text_ == textOf(emptyStringBlock); }

  /// Whether a text of `length` characters can replace the present one in place. False for a pooled block.
  bool hasRoomFor(std::size_t length) const;
  /// Keeps the first `offset` characters, puts `text` after them and ends the string there. The block has room; `text`
  /// may overlap with it.
  void overwrite(std::size_t offset, View text);

  /// Capacity in characters of a private block whose text has `length`, terminator included: a multiple of 32. A text
  /// that shrinks in place gives up the room beyond its new step.
  static constexpr std::size_t capacityFor(std::size_t length) { return (((length + 1) >> 5) + 1) * 32; }
  /// Bytes of such a block.
  static constexpr std::size_t privateSize(std::size_t length) {
    return kStringHeaderSize + capacityFor(length) * sizeof(Char);
  }

  /// Frees the block; does nothing for the empty string. The handle is dangling afterwards.
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
