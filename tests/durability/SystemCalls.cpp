#undef _FORTIFY_SOURCE

#include "tests/durability/SystemCalls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <optional>
#include <utility>

namespace test {
namespace {

using Kind = FileOperation::Kind;

struct OpenFile {
  /// Empty for the directory itself.
  std::string name;
  std::uint32_t file = 0;
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
  /// Of a whole process only, whose operations are not kept.
  CallListener listener = nullptr;

  /// Counts the call. Whether it is one to fail, with errno set.
  bool fails(const char* call, std::string_view name) {
    if (std::strstr(fault.calls, call) == nullptr || !name.ends_with(fault.files)) return false;
    const std::uint32_t number = calls++;
    const bool isHit = number >= fault.first && number - fault.first < fault.count;
    if (listener != nullptr) listener(call, name, isHit);
    if (!isHit) return false;
    // A write is torn first.
    if (fault.error == Fault::kKill && std::strcmp(call, "write") != 0) ::raise(SIGKILL);
    if (fault.error == Fault::kStop) return ::raise(SIGSTOP) != 0;
    errno = fault.error;
    return true;
  }

  void opened(int fd, const std::string& name, int flags) {
    if (name.empty() || listener != nullptr) {
      open[fd] = {.name = name};
      return;
    }
    const auto [known, isNew] = names.try_emplace(name, nextFile);
    if (isNew) operations.push_back({.kind = Kind::kCreate, .file = nextFile++, .name = name});
    if (!isNew && (flags & O_TRUNC) != 0) operations.push_back({.kind = Kind::kTruncate, .file = known->second});
    open[fd] = {.name = name, .file = known->second};
  }
};

thread_local std::optional<Watch> threadWatch;
Watch* processWatch = nullptr;

Watch* watching() {
  return threadWatch ? &*threadWatch : processWatch;
}

/// The name in the directory; nothing for a path elsewhere. The directory's own name is empty.
std::optional<std::string> watchedName(const char* path) {
  const Watch* const watch = watching();
  if (watch == nullptr) return std::nullopt;
  const std::string text(path);
  if (text == watch->directory) return std::string();
  const std::string prefix = watch->directory + "/";
  return text.starts_with(prefix) ? std::optional(text.substr(prefix.size())) : std::nullopt;
}

OpenFile* watchedFile(int fd) {
  Watch* const watch = watching();
  if (watch == nullptr) return nullptr;
  const auto found = watch->open.find(fd);
  return found == watch->open.end() ? nullptr : &found->second;
}

/// A path that may count from an open directory.
std::string fullPath(int directory, const char* path) {
  const OpenFile* const file = *path == '/' ? nullptr : watchedFile(directory);
  if (file == nullptr) return path;
  const std::string opened = watching()->directory + (file->name.empty() ? "" : "/" + file->name);
  return std::string_view(path) == "." ? opened : opened + "/" + path;  // "." opens the directory a second time
}

template <typename Perform>
int onPath(const char* call, const char* path, const Perform& perform) {
  const auto name = watchedName(path);
  return name && watching()->fails(call, *name) ? -1 : static_cast<int>(perform());
}

template <typename Perform>
int onFile(const char* call, int fd, const Perform& perform) {
  return descriptorFails(call, fd) ? -1 : static_cast<int>(perform());
}

/// A read or write of `count` bytes, or of as many as a fault leaves.
template <typename Perform>
ssize_t transfer(const char* call, const OpenFile* file, std::size_t count, const Perform& perform) {
  Watch* const watch = watching();
  if (file == nullptr || file->name.empty() || !watch->fails(call, file->name)) return perform(count);
  const bool isFirst = watch->calls == watch->fault.first + 1;
  if (watch->fault.error == Fault::kKill) {
    perform((count + 1) / 2);
    ::raise(SIGKILL);
  }
  if (watch->fault.error != Fault::kShort && (watch->fault.error != ENOSPC || !isFirst)) return -1;
  return perform(watch->fault.error == Fault::kShort ? (count + 1) / 2 : (count + 3) / 4);
}

/// Writes down what was done to an open file, or to the directory.
void addOperation(int fd, FileOperation operation) {
  const OpenFile* const file = watchedFile(fd);
  if (file == nullptr || !threadWatch) return;
  if (operation.kind == Kind::kFlush && file->name.empty()) operation.kind = Kind::kFlushDirectory;
  operation.file = file->file;
  threadWatch->operations.push_back(std::move(operation));
}

/// At the file's own position where it has no offset.
template <typename Perform>
ssize_t watchedWrite(int fd, const void* data, std::size_t count, std::optional<off_t> offset, const Perform& perform) {
  OpenFile* const file = watchedFile(fd);
  const ssize_t done = transfer("write", file, count, perform);
  if (done <= 0 || file == nullptr || !threadWatch) return done;
  const auto bytes = static_cast<std::size_t>(done);
  addOperation(fd, {.kind = Kind::kWrite,
                    .offset = offset ? static_cast<std::uint64_t>(*offset) : file->position,
                    .data = std::string(static_cast<const char*>(data), bytes)});
  if (!offset) file->position += bytes;
  return done;
}

}  // namespace

bool descriptorFails(const char* call, int fd) {
  const OpenFile* const file = watchedFile(fd);
  return file != nullptr && watching()->fails(call, file->name);
}

void watchProcess(const std::filesystem::path& directory, const Fault& fault, CallListener listener) {
  static Watch watch;
  watch.directory = directory.string();
  watch.fault = fault;
  watch.listener = listener;
  processWatch = &watch;
}

SystemCalls::SystemCalls(const std::filesystem::path& directory, const Fault& fault) {
  threadWatch.emplace();
  threadWatch->directory = directory.string();
  threadWatch->fault = fault;
}

SystemCalls::~SystemCalls() {
  threadWatch.reset();
}

const std::vector<FileOperation>& SystemCalls::operations() const {
  return threadWatch->operations;
}

bool SystemCalls::faultHappened() const {
  return threadWatch->calls > threadWatch->fault.first;
}

bool SystemCalls::faultPassed() const {
  return threadWatch->calls >= threadWatch->fault.first + threadWatch->fault.count;
}

}  // namespace test

// Defined here, these take the place of the C library's for the whole program.
#pragma GCC visibility push(default)
extern "C" {

int openat(int directory, const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list rest;
    va_start(rest, flags);
    mode = static_cast<mode_t>(va_arg(rest, unsigned));
    va_end(rest);
  }
  const auto name = test::watchedName(test::fullPath(directory, path).c_str());
  const char* const call = (flags & O_CREAT) != 0 ? "create" : "open";
  if (name && test::watching()->fails(call, *name)) return -1;
  const int fd = static_cast<int>(::syscall(SYS_openat, directory, path, flags, mode));
  test::Watch* const watch = test::watching();
  if (fd == -1 || watch == nullptr) return fd;
  watch->open.erase(fd);  // Of a file that a library closed by itself.
  if (name) watch->opened(fd, *name, flags);
  return fd;
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(rest, unsigned) : 0;
  va_end(rest);
  return openat(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));

int close(int fd) {
  const bool fails = test::descriptorFails("close", fd);
  const int error = errno;
  if (test::Watch* const watch = test::watching()) watch->open.erase(fd);
  const int result = static_cast<int>(::syscall(SYS_close, fd));
  if (!fails) return result;
  errno = error;
  return -1;
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

int ftruncate(int fd, off_t length) noexcept {
  const int result = test::onFile("truncate", fd, [&] { return ::syscall(SYS_ftruncate, fd, length); });
  const auto size = static_cast<std::uint64_t>(length);
  if (result == 0) test::addOperation(fd, {.kind = test::Kind::kTruncate, .offset = size});
  return result;
}

int fstat(int fd, struct stat* status) noexcept {
  return test::onFile("fstat", fd, [&] { return ::syscall(SYS_fstat, fd, status); });
}

int stat(const char* path, struct stat* status) noexcept {
  return test::onPath("lookup", path, [&] { return ::syscall(SYS_stat, path, status); });
}

int lstat(const char* path, struct stat* status) noexcept {
  return test::onPath("lookup", path, [&] { return ::syscall(SYS_lstat, path, status); });
}

int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept {
  return test::onPath("lookup", test::fullPath(directory, path).c_str(),
                      [&] { return ::syscall(SYS_newfstatat, directory, path, status, flags); });
}

int access(const char* path, int mode) noexcept {
  return test::onPath("lookup", path, [&] { return ::syscall(SYS_access, path, mode); });
}

int fchmod(int fd, mode_t mode) noexcept {
  return test::onFile("chmod", fd, [&] { return ::syscall(SYS_fchmod, fd, mode); });
}

int flock(int fd, int operation) noexcept {
  return test::onFile("flock", fd, [&] { return ::syscall(SYS_flock, fd, operation); });
}

int fsync(int fd) {
  const bool fails = test::descriptorFails("fsync", fd);
  test::addOperation(fd, {.kind = fails ? test::Kind::kFailedFlush : test::Kind::kFlush});
  return fails ? -1 : 0;
}

int fdatasync(int fd) {
  return fsync(fd);
}

/// Promises nothing, and may say that a write has failed.
int sync_file_range(int fd, off_t, off_t, unsigned) {
  return test::descriptorFails("begin", fd) ? -1 : 0;
}

int mkdir(const char* path, mode_t mode) noexcept {
  return test::onPath("mkdir", path, [&] { return ::syscall(SYS_mkdir, path, mode); });
}

int rmdir(const char* path) noexcept {
  return test::onPath("rmdir", path, [&] { return ::syscall(SYS_rmdir, path); });
}

int link(const char* from, const char* to) noexcept {
  return test::onPath("link", to, [&] { return ::syscall(SYS_link, from, to); });
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) noexcept {
  const std::string target = test::fullPath(toDirectory, to);
  const int result = test::onPath(
      "rename", target.c_str(), [&] { return ::syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags); });
  const auto name = test::watchedName(test::fullPath(fromDirectory, from).c_str());
  const auto newName = test::watchedName(target.c_str());
  if (result != 0 || !name || !newName || !test::threadWatch) return result;
  auto& names = test::threadWatch->names;
  test::FileOperation operation{.kind = test::Kind::kRename, .file = names[*name], .name = *name, .newName = *newName};
  if (flags == RENAME_EXCHANGE) {
    operation.kind = test::Kind::kExchange;
    operation.otherFile = names[*newName];
    std::swap(names[*name], names[*newName]);
  } else {
    names[*newName] = operation.file;
    names.erase(*name);
  }
  test::threadWatch->operations.push_back(operation);
  return 0;
}

int rename(const char* from, const char* to) noexcept {
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  const std::string full = test::fullPath(directory, path);
  const int result =
      test::onPath("unlink", full.c_str(), [&] { return ::syscall(SYS_unlinkat, directory, path, flags); });
  const auto name = test::watchedName(full.c_str());
  if (result != 0 || !name || !test::threadWatch) return result;
  auto& names = test::threadWatch->names;
  test::threadWatch->operations.push_back({.kind = test::Kind::kRemove, .file = names[*name], .name = *name});
  names.erase(*name);
  return 0;
}

int unlink(const char* path) noexcept {
  return unlinkat(AT_FDCWD, path, 0);
}

int nanosleep(const timespec*, timespec*) {
  return 0;
}

}  // extern "C"
#pragma GCC visibility pop
