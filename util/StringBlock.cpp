#include "util/StringBlock.h"

#include <cstring>
#include <memory>

#include "util/bytes.h"

namespace qvs::util {
namespace {

constexpr std::size_t kLengthSize = 3;
constexpr std::byte kPooled{0};
constexpr std::byte kPrivate{1};

/// The ranges may overlap; an empty text may be null, which memmove must not be given.
template <typename Char>
void move(Char* to, std::basic_string_view<Char> text) {
  if (!text.empty()) std::memmove(to, text.data(), text.size() * sizeof(Char));
}

}  // namespace

template <typename Char>
StringBlock<Char> StringBlock<Char>::make(std::size_t room, std::byte kind) {
  // The terminator and length are set by overwrite(), which every maker calls.
  auto bytes = std::make_unique_for_overwrite<std::byte[]>(kStringHeaderSize + room * sizeof(Char));
  bytes[kLengthSize] = kind;
  return StringBlock(textOf(bytes.release()));
}

template <typename Char>
StringBlock<Char> StringBlock<Char>::makePrivate(View head, View tail) {
  StringBlock block = make(capacityFor(head.size() + tail.size()), kPrivate);
  block.overwrite(0, head);
  block.overwrite(head.size(), tail);
  return block;
}

template <typename Char>
StringBlock<Char> StringBlock<Char>::makePooled(View text) {
  StringBlock block = make(text.size() + 1, kPooled);
  block.overwrite(0, text);
  return block;
}

template <typename Char>
std::size_t StringBlock<Char>::length() const {
  return static_cast<std::size_t>(loadBigEndian(header(), kLengthSize));
}

template <typename Char>
bool StringBlock<Char>::isPrivate() const {
  return header()[kLengthSize] == kPrivate;
}

template <typename Char>
bool StringBlock<Char>::hasRoomFor(std::size_t length) const {
  return isPrivate() && capacityFor(this->length()) > length + 1;
}

template <typename Char>
void StringBlock<Char>::overwrite(std::size_t offset, View text) {
  // The text first: it may be part of this block, whose length would no longer cover it.
  move(text_ + offset, text);
  text_[offset + text.size()] = 0;
  storeBigEndian(header(), kLengthSize, offset + text.size());
}

template <typename Char>
void StringBlock<Char>::destroy() {
  if (!isEmptyString()) std::unique_ptr<std::byte[]>(header()).reset();
}

template class StringBlock<char>;
template class StringBlock<char16_t>;

}  // namespace qvs::util
