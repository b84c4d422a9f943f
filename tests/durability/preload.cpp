// Faults in a whole program: a library for LD_PRELOAD, which puts the calls of SystemCalls.cpp in place of the C
// library's.
//
//   K2R_FAULT_DIRECTORY   absolute; calls on what lies in it, and on itself, are counted
//   K2R_FAULT             "ERROR FIRST COUNT CALL...", as in Fault
//   K2R_FAULT_TRACE       a file to which each counted call is added: kind, name, and " !" where it failed

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

#include "tests/durability/SystemCalls.h"

namespace {

int traceFile = -1;

void trace(const char* call, std::string_view name, bool fails) {
  const std::string line = std::string(call) + " " + std::string(name) + (fails ? " !\n" : "\n");
  ::syscall(SYS_write, traceFile, line.data(), line.size());
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

[[gnu::constructor]] void begin() {
  const std::string directory = environment("K2R_FAULT_DIRECTORY");
  if (directory.empty()) return;
  static std::string calls;
  test::Fault fault;
  std::istringstream text(environment("K2R_FAULT"));
  text >> fault.error >> fault.first >> fault.count;
  std::getline(text, calls);
  fault.calls = calls.c_str();
  traceFile = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, environment("K2R_FAULT_TRACE").c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  test::watchProcess(directory, fault, trace);
}

int openFlags(const char* mode) {
  const bool isBoth = std::strchr(mode, '+') != nullptr;
  if (*mode == 'r') return isBoth ? O_RDWR : O_RDONLY;
  return (isBoth ? O_RDWR : O_WRONLY) | O_CREAT | (*mode == 'w' ? O_TRUNC : O_APPEND);
}

int descriptorOf(void* cookie) {
  return *static_cast<const int*>(cookie);
}

/// The C library's own streams make their calls where nothing can stand in front.
const cookie_io_functions_t kStream = {
    .read = [](void* cookie, char* data, size_t size) { return ::read(descriptorOf(cookie), data, size); },
    .write =
        [](void* cookie, const char* data, size_t size) {
          const ssize_t done = ::write(descriptorOf(cookie), data, size);
          return done < 0 ? 0 : done;
        },
    .seek =
        [](void* cookie, off64_t* offset, int from) {
          *offset = ::lseek(descriptorOf(cookie), *offset, from);
          return *offset < 0 ? -1 : 0;
        },
    .close =
        [](void* cookie) {
          const std::unique_ptr<int> descriptor(static_cast<int*>(cookie));
          return ::close(*descriptor);
        }};

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

FILE* fopen(const char* path, const char* mode) {
  const int fd = ::open(path, openFlags(mode) | O_CLOEXEC, 0666);
  return fd == -1 ? nullptr : ::fopencookie(new int(fd), mode, kStream);
}

/// What the C++ library opens. It asks for the descriptor, and reads and writes that by itself.
FILE* fopen64(const char* path, const char* mode) {
  const int fd = ::open(path, openFlags(mode) | O_CLOEXEC, 0666);
  return fd == -1 ? nullptr : ::fdopen(fd, mode);
}

DIR* opendir(const char* path) {
  const int fd = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return fd == -1 ? nullptr : ::fdopendir(fd);
}

dirent* readdir(DIR* directory) {
  static const auto next = reinterpret_cast<dirent* (*)(DIR*)>(::dlsym(RTLD_NEXT, "readdir"));
  return test::descriptorFails("readdir", ::dirfd(directory)) ? nullptr : next(directory);
}

}  // extern "C"
#pragma GCC visibility pop
