#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/os/Descriptor.h"

namespace host::serve {

/// The content of an answer: pieces of memory and spans of open files, one after the other. Copying shares the pieces.
/// A file stays open as long as a body refers to it, so that it can be read to its end after it was removed.
class Body {
 public:
  using File = std::shared_ptr<const platform::os::Descriptor>;

  Body() = default;
  explicit Body(std::string text) { add(std::move(text)); }

  void add(std::string text);
  void add(std::vector<std::byte> bytes);
  /// The same for bytes that others have, too; not null.
  void add(std::shared_ptr<const std::vector<std::byte>> bytes);
  /// `size` bytes of the file from `offset` on.
  void add(File file, std::uint64_t offset, std::uint64_t size);

  /// The same of a file that is in memory, so that no disk is ever waited for.
  void addMemory(File file, std::uint64_t offset, std::uint64_t size);

  /// A span of an open file.
  struct Span {
    File file;
    std::uint64_t offset = 0;
    bool isMemory = false;
  };
  /// If all of it is one span of a file in memory: that span, which is as long as the body. Null otherwise.
  const Span* memorySpan() const;

  /// Bytes in all.
  std::uint64_t size() const { return size_; }
  /// Reads up to `out.size()` bytes from `offset` on, and returns how many; 0 at the end. May wait for the disk. Throws
  /// std::system_error if a file cannot be read, or is shorter than it was said to be.
  std::size_t read(std::uint64_t offset, std::span<std::byte> out) const;
  /// Does the same as far as no disk is waited for. Nothing if the first byte would have to be waited for, or cannot be
  /// read: then only read() knows.
  std::optional<std::size_t> readReady(std::uint64_t offset, std::span<std::byte> out) const;
  /// The bytes [from, from + count) of this body, which has them, as a body of its own.
  Body slice(std::uint64_t from, std::uint64_t count) const;

 private:
  struct Piece {
    /// Offset of its first byte in the body.
    std::uint64_t start = 0;
    std::uint64_t size = 0;
    std::variant<std::shared_ptr<const std::string>, std::shared_ptr<const std::vector<std::byte>>, Span> content;
    /// Bytes of memory content to skip, after slice().
    std::uint64_t skip = 0;

    /// Of memory content: the bytes from `from`, counted in the piece.
    std::span<const std::byte> memory(std::uint64_t from) const;
  };

  /// The index of the piece with that byte.
  std::size_t pieceAt(std::uint64_t offset) const;
  void append(Piece piece);
  template <typename ReadFile>
  std::size_t readWith(const ReadFile& readFile, std::uint64_t offset, std::span<std::byte> out) const;

  std::uint64_t size_ = 0;
  std::vector<Piece> pieces_;
};

}  // namespace host::serve
