#undef _FORTIFY_SOURCE

#include "tests/durability/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <map>
#include <optional>

namespace test {
namespace {

using Kind = FileOperation::Kind;

struct OpenFile {
  /// Nothing for the directory itself.
  std::optional<std::uint32_t> file;
  bool durable = false;
  /// Of the next write without an offset.
  std::uint64_t position = 0;
};

struct Watch {
  std::string directory;
  std::map<std::string, std::uint32_t> names;
  std::map<int, OpenFile> open;
  std::uint32_t nextFile = 1;
  std::vector<FileOperation> operations;
  std::uint32_t calls = 0;
  std::uint32_t failFirst = 0;
  std::uint32_t failCount = 0;
  int failError = 0;

  /// The name in the directory; nothing for a path elsewhere. The directory's own name is empty.
  std::optional<std::string> nameOf(const char* path) const {
    const std::string text(path);
    if (text == directory) return std::string();
    const std::string prefix = directory + "/";
    if (!text.starts_with(prefix)) return std::nullopt;
    return text.substr(prefix.size());
  }

  OpenFile* find(int fd) {
    const auto found = open.find(fd);
    return found == open.end() ? nullptr : &found->second;
  }

  /// Whether the call that has come is one to fail, with errno set.
  bool fails() {
    const std::uint32_t call = calls++;
    if (call < failFirst || call - failFirst >= failCount) return false;
    errno = failError;
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
    open[fd] = {.file = known->second, .durable = (flags & O_DSYNC) != 0};
  }

  void written(const OpenFile& file, std::uint64_t offset, const void* data, std::size_t count) {
    operations.push_back({.kind = Kind::kWrite,
                          .file = *file.file,
                          .offset = offset,
                          .data = std::string(static_cast<const char*>(data), count),
                          .durable = file.durable});
  }

  void renamed(const std::string& from, const std::string& to) {
    operations.push_back({.kind = Kind::kRename, .file = names[from], .name = from, .newName = to});
    names[to] = names[from];
    names.erase(from);
  }

  void removed(const std::string& name) {
    operations.push_back({.kind = Kind::kRemove, .file = names[name], .name = name});
    names.erase(name);
  }
};

thread_local std::optional<Watch> watch;

/// A write of `count` bytes by `perform`; at the file's own position where it has no offset.
template <typename Perform>
ssize_t watchedWrite(int fd, const void* data, std::size_t count, std::optional<off_t> offset, const Perform& perform) {
  OpenFile* const file = watch ? watch->find(fd) : nullptr;
  if (file == nullptr || !file->file) return perform(count);
  if (watch->fails()) {
    count = watch->failError == ENOSPC ? count / 2 : 0;
    if (count == 0) return -1;
  }
  const ssize_t done = perform(count);
  if (done <= 0) return done;
  const auto bytes = static_cast<std::size_t>(done);
  watch->written(*file, offset ? static_cast<std::uint64_t>(*offset) : file->position, data, bytes);
  if (!offset) file->position += bytes;
  return done;
}

}  // namespace

SystemCalls::SystemCalls(const std::filesystem::path& directory) {
  watch.emplace();
  watch->directory = directory.string();
}

SystemCalls::~SystemCalls() {
  watch.reset();
}

const std::vector<FileOperation>& SystemCalls::operations() const {
  return watch->operations;
}

std::uint32_t SystemCalls::calls() const {
  return watch->calls;
}

void SystemCalls::failFrom(std::uint32_t first, std::uint32_t count, int error) {
  watch->failFirst = watch->calls + first;
  watch->failCount = count;
  watch->failError = error;
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
  const auto name = test::watch ? test::watch->nameOf(path) : std::nullopt;
  if (name && test::watch->fails()) return -1;
  const int fd = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (fd != -1 && name) test::watch->opened(fd, *name, flags);
  return fd;
}

int close(int fd) {
  if (test::watch) test::watch->open.erase(fd);
  return static_cast<int>(::syscall(SYS_close, fd));
}

ssize_t write(int fd, const void* data, size_t count) {
  return test::watchedWrite(fd, data, count, {}, [&](size_t part) { return ::syscall(SYS_write, fd, data, part); });
}

ssize_t pwrite(int fd, const void* data, size_t count, off_t offset) {
  return test::watchedWrite(fd, data, count, offset,
                            [&](size_t part) { return ::syscall(SYS_pwrite64, fd, data, part, offset); });
}

int fsync(int fd) {
  const test::OpenFile* const file = test::watch ? test::watch->find(fd) : nullptr;
  if (file == nullptr) return 0;
  if (test::watch->fails()) return -1;
  test::FileOperation flush{.kind = file->file ? test::Kind::kFlush : test::Kind::kFlushDirectory};
  flush.file = file->file.value_or(0);
  test::watch->operations.push_back(flush);
  return 0;
}

int rename(const char* from, const char* to) noexcept {
  const auto name = test::watch ? test::watch->nameOf(from) : std::nullopt;
  const auto newName = test::watch ? test::watch->nameOf(to) : std::nullopt;
  if (name && newName && test::watch->fails()) return -1;
  const int result = static_cast<int>(::syscall(SYS_rename, from, to));
  if (result == 0 && name && newName) test::watch->renamed(*name, *newName);
  return result;
}

int unlink(const char* path) noexcept {
  const auto name = test::watch ? test::watch->nameOf(path) : std::nullopt;
  if (name && test::watch->fails()) return -1;
  const int result = static_cast<int>(::syscall(SYS_unlink, path));
  if (result == 0 && name) test::watch->removed(*name);
  return result;
}

int nanosleep(const timespec*, timespec*) {
  return 0;
}

int clock_nanosleep(clockid_t, int, const timespec*, timespec*) {
  return 0;
}

}  // extern "C"
#pragma GCC visibility pop
