#include "platform/os/durableFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <new>
#include <string>

#include "platform/os/Descriptor.h"
#include "platform/os/Directory.h"
#include "platform/os/fileCalls.h"
#include "platform/os/lastError.h"
#include "platform/os/paths.h"
#include "platform/os/retried.h"

namespace platform::os {
namespace {

bool isRegularFile(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

/// False for a directory: reading it fails with an error that says more than ours would.
bool isPipeOrDevice(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
}

/// Only a hint: files in /proc have size 0, and a file may grow while it is read.
std::size_t sizeHint(const Descriptor& file, std::size_t maxSize) {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0 || status.st_size < 0) return 0;
  return static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(status.st_size), maxSize));
}

/// Whether no other process has the file open. False also if the file system does not say.
bool isOpenHereOnly(const Descriptor& file) {
  // The kernel grants a lease for writing only then. Whoever opens the file while the lease lasts causes a signal, and
  // the default one, SIGIO, ends a process; SIGURG is ignored by default.
  return ::fcntl(file.get(), F_SETSIG, SIGURG) == 0 && ::fcntl(file.get(), F_SETLEASE, F_WRLCK) == 0 &&
         ::fcntl(file.get(), F_SETLEASE, F_UNLCK) == 0;
}

bool isSeenHereOnly(const Descriptor& file, std::uint64_t size) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         static_cast<std::uint64_t>(status.st_size) == size && isOpenHereOnly(file);
}

bool writeInto(Descriptor& file, std::span<const std::byte> content) {
  return file && writeAll(file.get(), content) && file.close();
}

bool writeAllAt(const Descriptor& file, std::uint64_t offset, std::span<const std::byte> content) {
  while (!content.empty()) {
    const ssize_t written =
        retried([&] { return ::pwrite(file.get(), content.data(), content.size(), static_cast<off_t>(offset)); });
    if (written <= 0) return false;
    offset += static_cast<std::uint64_t>(written);
    content = content.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

/// Flushes `from`, moves it to `to` by `move`, and flushes the directory of `to`.
template <typename Move>
bool moveDurably(std::string_view from, std::string_view to, const Move& move) {
  const std::string source = toNative(from);
  const std::string target = toNative(to);
  const Descriptor file(source, O_RDONLY);
  // Opened before the move: once the move is done, a failure could no longer leave `to` as it was.
  const Directory directory(directoryOf(target));
  // The content has to be on the device before the name points to it, or a loss of power leaves an empty file.
  return file && directory && file.flush() && move(source.c_str(), target.c_str()) == 0 && directory.flush();
}

}  // namespace

bool writeFile(std::string_view path, std::span<const std::byte> content) noexcept try {
  // O_NOFOLLOW: a link planted under this name must not lead the content elsewhere. O_NONBLOCK: opening a pipe would
  // wait for its reader.
  Descriptor file(toNative(path), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK);
  return file && isRegularFile(file) && writeInto(file, content);
} catch (const std::bad_alloc&) {
  return false;
}

bool writeNewFile(std::string_view path, std::span<const std::byte> content) noexcept try {
  const std::string native = toNative(path);
  constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL;
  Descriptor file(native, kNew);
  if (file || errno != EEXIST) return writeInto(file, content);
  if (::unlink(native.c_str()) != 0) return false;
  Descriptor again(native, kNew);
  return writeInto(again, content);
} catch (const std::bad_alloc&) {
  return false;
}

bool extendFile(std::string_view path, std::uint64_t size, std::span<const std::byte> head,
                std::span<const std::byte> tail) noexcept try {
  Descriptor file(toNative(path), O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
  return file && isSeenHereOnly(file, size) && writeAllAt(file, size, tail) && writeAllAt(file, 0, head) &&
         file.close();
} catch (const std::bad_alloc&) {
  return false;
}

bool syncFile(std::string_view path) noexcept try {
  const std::string native = toNative(path);
  const Descriptor file(native, O_RDONLY);
  const Directory directory(directoryOf(native));
  return file && directory && file.flush() && directory.flush();
} catch (const std::bad_alloc&) {
  return false;
}

bool replaceFile(std::string_view from, std::string_view to) noexcept try {
  return moveDurably(from, to, [](const char* source, const char* target) { return std::rename(source, target); });
} catch (const std::bad_alloc&) {
  return false;
}

bool exchangeFiles(std::string_view from, std::string_view to) noexcept try {
  return moveDurably(from, to, [](const char* source, const char* target) {
    return ::renameat2(AT_FDCWD, source, AT_FDCWD, target, RENAME_EXCHANGE);
  });
} catch (const std::bad_alloc&) {
  return false;
}

void removeName(std::string_view path) noexcept try {
  ::unlink(toNative(path).c_str());
} catch (const std::bad_alloc&) {  // What is left is a temporary file.
}

bool removeFile(std::string_view path) noexcept try {
  const std::string native = toNative(path);
  if (::unlink(native.c_str()) != 0) return errno == ENOENT;
  const Directory directory(directoryOf(native));
  return directory && directory.flush();
} catch (const std::bad_alloc&) {
  return false;
}

FileStart readFileStart(std::string_view path, std::size_t maxSize, AllowedFile kind) {
  const bool isRegular = kind == AllowedFile::kRegular;
  const Descriptor file(toNative(path), O_RDONLY | (isRegular ? O_NONBLOCK : 0));
  if (!file) return {.content = {}, .error = lastError()};
  if (isRegular && isPipeOrDevice(file)) return {.content = {}, .error = make_error_code(std::errc::not_supported)};
  // One byte more than the file's size, so that the read that returns 0 needs no larger buffer.
  std::vector<std::byte> content(std::min(sizeHint(file, maxSize) + 1, maxSize));
  std::size_t filled = 0;
  while (filled < maxSize) {
    if (filled == content.size()) content.resize(std::min(content.size() * 2, maxSize));
    const ssize_t count = retried([&] { return ::read(file.get(), content.data() + filled, content.size() - filled); });
    if (count < 0) return {.content = {}, .error = lastError()};
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  content.resize(filled);
  return {.content = std::move(content), .error = {}};
}

std::optional<std::vector<std::byte>> readFile(std::string_view path, std::size_t maxSize, AllowedFile kind) {
  FileStart start = readFileStart(path, maxSize + 1, kind);  // one more, to see that a file is too long
  if (start.error || start.content.size() > maxSize) return std::nullopt;
  return std::move(start.content);
}

}  // namespace platform::os
