#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform::os {

// Small whole files, each with few system calls. Paths are the module's or native ones. Failures are answers: the
// caller knows the file's role and words the message.

/// Makes the file, or empties the old one, and writes `content`. Nothing is flushed. False where anything failed, and
/// for a link, which is not followed; the file then holds an unknown part of the content.
bool writeFile(std::string_view path, std::span<const std::byte> content) noexcept;

/// Flushes a file's content, and the directory entry that names it, to the device.
bool syncFile(std::string_view path) noexcept;

/// One attempt to put the file `from` in the place of `to`: flushes `from`, renames it, flushes the directory of `to`.
/// Whoever opens `to`, also after a loss of power at any time, finds the whole old or the whole new file. True once the
/// new one is on the device. False leaves `to` as it was, unless the last flush was what failed.
bool replaceFile(std::string_view from, std::string_view to) noexcept;

/// Removes a file, durably. True when it is gone, also where there was none.
bool removeFile(std::string_view path) noexcept;

enum class FileKind {
  /// No pipe, no device: those might never end, or never begin.
  kRegular,
  kAny,
};

/// The start of a file, or why it cannot be read.
struct FileStart {
  std::vector<std::byte> content;
  /// If it is set, `content` is empty.
  std::error_code error;
};

/// Reads the first `maxSize` bytes of a file, or all of a shorter one. Memory follows the bytes there are. A file of
/// another kind is an error.
FileStart readFileStart(std::string_view path, std::size_t maxSize, FileKind kind = FileKind::kRegular);

/// A whole file, or nothing where it cannot be read, is of another kind or has more than `maxSize` bytes. Memory
/// follows the bytes there are.
std::optional<std::vector<std::byte>> readFile(std::string_view path, std::size_t maxSize,
                                               FileKind kind = FileKind::kRegular);

}  // namespace platform::os
