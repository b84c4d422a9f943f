#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform::os {

// Whole small files, each with few system calls. Paths may be the module's (with backslashes) or native. Failures are
// return values, not exceptions: only the caller knows what the file is for and can word the message. Any thread may
// call these; two calls on one path at the same time are the caller's mistake.

/// Creates the file, or empties the old one, and writes `content`. Flushes nothing to the device. Returns false if
/// anything fails, and for a link, a pipe or a device; the file may then contain any part of the content.
bool writeFile(std::string_view path, std::span<const std::byte> content) noexcept;

/// The same, and never touches an existing file of that name: it loses the name first. A file that was moved away from
/// another name may still be the one that a loss of power brings back under it.
bool writeNewFile(std::string_view path, std::span<const std::byte> content) noexcept;

/// Adds `tail` at the end of a file of `size` bytes, and writes `head` over its first bytes. Flushes nothing to the
/// device. False, with the file unchanged, if it has another size or another name, if another process has it open, or
/// if the file system cannot say that: whoever reads it must not see it change. False also if a write fails; the file
/// may then contain any part of both.
bool extendFile(std::string_view path, std::uint64_t size, std::span<const std::byte> head,
                std::span<const std::byte> tail) noexcept;

/// Flushes a file's content, and the directory entry that names it, to the device. A new file without its directory
/// entry would not be found after a loss of power.
bool syncFile(std::string_view path) noexcept;

/// Replaces the file `to` by `from`, in one attempt: flushes `from`, renames it, flushes the directory of
/// `to`. Both are in one file system. Whoever opens `to` finds the whole old or the whole new file, also after a loss
/// of power at any time. Returns true once the new file is on the device. After false `to` is unchanged, unless it was
/// the last flush that failed: then it is the new file, perhaps not durably.
bool replaceFile(std::string_view from, std::string_view to) noexcept;

/// Like replaceFile(), but the old file stays, with the name `from`. Returns true once the exchange is on the device.
/// After false both are as they were, unless it was the last flush that failed: then they are exchanged, perhaps not
/// durably. Not every file system can exchange names.
bool exchangeFiles(std::string_view from, std::string_view to) noexcept;

/// Removes the name of a file, if there is one. The next flush of the directory makes that durable.
void removeName(std::string_view path) noexcept;

/// Removes a file, durably. Returns true if it is gone, also if there was none.
bool removeFile(std::string_view path) noexcept;

/// Which kinds of files a read accepts.
enum class AllowedFile {
  /// Refuses pipes and devices: opening one may wait for ever, and reading one may never end.
  kRegular,
  kAny,
};

/// The start of a file, or the reason why it cannot be read.
struct FileStart {
  std::vector<std::byte> content;
  /// If set, `content` is empty.
  std::error_code error;
};

/// Reads the first `maxSize` bytes of a file, or all of a shorter one. Takes memory only for bytes that exist, whatever
/// `maxSize` is. A file of another kind gives std::errc::not_supported. Throws std::bad_alloc.
FileStart readFileStart(std::string_view path, std::size_t maxSize, AllowedFile kind = AllowedFile::kRegular);

/// Reads a whole file. Returns nothing if it cannot be read, is of another kind or has more than `maxSize` bytes. Takes
/// memory only for bytes that exist. Throws std::bad_alloc.
std::optional<std::vector<std::byte>> readFile(std::string_view path, std::size_t maxSize,
                                               AllowedFile kind = AllowedFile::kRegular);

}  // namespace platform::os
