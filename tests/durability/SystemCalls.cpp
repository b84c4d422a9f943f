#undef _FORTIFY_SOURCE

#include "tests/durability/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <map>
#include <optional>
#include <string_view>

namespace test {
namespace {

using Kind = FileOperation::Kind;

struct OpenFile {
  /// Empty for the directory itself.
  std::string name;
  std::uint32_t file = 0;
  bool durable = false;
  /// Of the next write without an offset.
  std::uint64_t position = 0;
};

struct Watch {
  std::string directory;
  Fault fault;
  std::uint32_t calls = 0;
  std::map<std::string, std::uint32_t> names;
  std::map<int, OpenFile> open;
  std::uint32_t nextFile = 1;
  std::vector<FileOperation> operations;

  /// Whether the call that has come is one to fail, with errno set.
  bool fails(const char* call, std::string_view name) {
    if (std::strstr(fault.calls, call) == nullptr || !name.ends_with(fault.files)) return false;
    const std::uint32_t number = calls++;
    if (number < fault.first || number - fault.first >= fault.count) return false;
    errno = fault.error;
    return true;
  }

  void opened(int fd, const std::string& name, int flags) {
    if (name.empty()) {
      open[fd] = {};
      return;
    }
    const auto [known, isNew] = names.try_emplace(name, nextFile);
    if (isNew) operations.push_back({.kind = Kind::kCreate, .file = nextFile++, .name = name});
    if (!isNew && (flags & O_TRUNC) != 0) operations.push_back({.kind = Kind::kTruncate, .file = known->second});
    open[fd] = {.name = name, .file = known->second, .durable = (flags & O_DSYNC) != 0};
  }
};

thread_local std::optional<Watch> watch;

/// The name in the directory; nothing for a path elsewhere. The directory's own name is empty.
std::optional<std::string> watchedName(const char* path) {
  if (!watch) return std::nullopt;
  const std::string text(path);
  if (text == watch->directory) return std::string();
  const std::string prefix = watch->directory + "/";
  return text.starts_with(prefix) ? std::optional(text.substr(prefix.size())) : std::nullopt;
}

OpenFile* watchedFile(int fd) {
  const auto found = watch ? watch->open.find(fd) : std::map<int, OpenFile>::iterator();
  return watch && found != watch->open.end() ? &found->second : nullptr;
}

/// A read or write of `count` bytes, or of as many as a fault leaves.
template <typename Perform>
ssize_t transfer(const char* call, const OpenFile* file, std::size_t count, const Perform& perform) {
  if (file == nullptr || file->name.empty() || !watch->fails(call, file->name)) return perform(count);
  const bool isFirst = watch->calls == watch->fault.first + 1;
  if (watch->fault.error != 0 && (watch->fault.error != ENOSPC || !isFirst)) return -1;
  return perform(watch->fault.error == 0 ? (count + 1) / 2 : (count + 3) / 4);
}

/// At the file's own position where it has no offset.
template <typename Perform>
ssize_t watchedWrite(int fd, const void* data, std::size_t count, std::optional<off_t> offset, const Perform& perform) {
  OpenFile* const file = watchedFile(fd);
  const ssize_t done = transfer("write", file, count, perform);
  if (done <= 0 || file == nullptr) return done;
  const auto bytes = static_cast<std::size_t>(done);
  watch->operations.push_back({.kind = Kind::kWrite,
                               .file = file->file,
                               .offset = offset ? static_cast<std::uint64_t>(*offset) : file->position,
                               .data = std::string(static_cast<const char*>(data), bytes),
                               .durable = file->durable});
  if (!offset) file->position += bytes;
  return done;
}

}  // namespace

SystemCalls::SystemCalls(const std::filesystem::path& directory, const Fault& fault) {
  watch.emplace();
  watch->directory = directory.string();
  watch->fault = fault;
}

SystemCalls::~SystemCalls() {
  watch.reset();
}

const std::vector<FileOperation>& SystemCalls::operations() const {
  return watch->operations;
}

bool SystemCalls::faultHappened() const {
  return watch->calls > watch->fault.first;
}

bool SystemCalls::faultPassed() const {
  return watch->calls >= watch->fault.first + watch->fault.count;
}

}  // namespace test

// Defined here, these take the place of the C library's for the whole program.
#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list rest;
    va_start(rest, flags);
    mode = static_cast<mode_t>(va_arg(rest, unsigned));
    va_end(rest);
  }
  const auto name = test::watchedName(path);
  if (name && test::watch->fails("open", *name)) return -1;
  const int fd = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (fd != -1 && name) test::watch->opened(fd, *name, flags);
  return fd;
}

int close(int fd) {
  if (test::watch) test::watch->open.erase(fd);
  return static_cast<int>(::syscall(SYS_close, fd));
}

ssize_t read(int fd, void* data, size_t count) {
  return test::transfer("read", test::watchedFile(fd), count,
                        [&](size_t part) { return ::syscall(SYS_read, fd, data, part); });
}

ssize_t pread(int fd, void* data, size_t count, off_t offset) {
  return test::transfer("read", test::watchedFile(fd), count,
                        [&](size_t part) { return ::syscall(SYS_pread64, fd, data, part, offset); });
}

ssize_t write(int fd, const void* data, size_t count) {
  return test::watchedWrite(fd, data, count, {}, [&](size_t part) { return ::syscall(SYS_write, fd, data, part); });
}

ssize_t pwrite(int fd, const void* data, size_t count, off_t offset) {
  return test::watchedWrite(fd, data, count, offset,
                            [&](size_t part) { return ::syscall(SYS_pwrite64, fd, data, part, offset); });
}

int fstat(int fd, struct stat* status) noexcept {
  const test::OpenFile* const file = test::watchedFile(fd);
  if (file != nullptr && test::watch->fails("fstat", file->name)) return -1;
  return static_cast<int>(::syscall(SYS_fstat, fd, status));
}

int fsync(int fd) {
  const test::OpenFile* const file = test::watchedFile(fd);
  if (file == nullptr) return 0;
  if (test::watch->fails("fsync", file->name)) return -1;
  const auto kind = file->name.empty() ? test::Kind::kFlushDirectory : test::Kind::kFlush;
  test::watch->operations.push_back({.kind = kind, .file = file->file});
  return 0;
}

int rename(const char* from, const char* to) noexcept {
  const auto name = test::watchedName(from);
  const auto newName = test::watchedName(to);
  const bool isWatched = name && newName;
  if (isWatched && test::watch->fails("rename", *newName)) return -1;
  const int result = static_cast<int>(::syscall(SYS_rename, from, to));
  if (result != 0 || !isWatched) return result;
  const std::uint32_t file = test::watch->names[*name];
  test::watch->operations.push_back({.kind = test::Kind::kRename, .file = file, .name = *name, .newName = *newName});
  test::watch->names[*newName] = file;
  test::watch->names.erase(*name);
  return result;
}

int unlink(const char* path) noexcept {
  const auto name = test::watchedName(path);
  if (name && test::watch->fails("unlink", *name)) return -1;
  const int result = static_cast<int>(::syscall(SYS_unlink, path));
  if (result != 0 || !name) return result;
  test::watch->operations.push_back({.kind = test::Kind::kRemove, .file = test::watch->names[*name], .name = *name});
  test::watch->names.erase(*name);
  return result;
}

int unlinkat(int directory, const char* name, int flags) noexcept {
  const int result = static_cast<int>(::syscall(SYS_unlinkat, directory, name, flags));
  if (result != 0 || test::watchedFile(directory) == nullptr) return result;
  test::watch->operations.push_back({.kind = test::Kind::kRemove, .name = name});
  return result;
}

int nanosleep(const timespec*, timespec*) {
  return 0;
}

}  // extern "C"
#pragma GCC visibility pop
