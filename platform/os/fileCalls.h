#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace platform::os {

// One function for each file call of the operating system. They return -1 for a failure, with the reason in errno. A
// call interrupted by a signal is made again, so EINTR is never seen, except from closeDescriptor().

/// Returns the flags for open(2). Always with close-on-exec, so that programs which a host starts inherit no file. Text
/// and binary are the same here. Truncation is dropped for a file that is opened for reading only.
int toPosixFlags(std::uint32_t flags);

/// Returns a descriptor, which the caller closes. `path` may be the module's or native, `flags` are OpenFlags,
/// `permission` is the mode of a new file before the umask. A directory is refused with EACCES, also for reading.
int openDescriptor(std::string_view path, std::uint32_t flags, std::uint32_t permission);
/// The descriptor is released also when this fails, and must not be closed again.
int closeDescriptor(int descriptor);
/// Returns the bytes read: fewer than `count` are no error, 0 is the end of the file.
std::int64_t readDescriptor(int descriptor, void* buffer, std::size_t count);
/// Returns the bytes written, which may be fewer than `count`: a caller that needs all of them has to loop.
std::int64_t writeDescriptor(int descriptor, const void* buffer, std::size_t count);

/// Writes all of `content` at the descriptor's position. False if a write fails; part of the content may be written.
bool writeAll(int descriptor, std::span<const std::byte> content);

enum class SeekFrom { kStart, kCurrent, kEnd };
/// Returns the new position in bytes from the start. Beyond the end is allowed. Fails with ESPIPE for a pipe.
std::int64_t seekDescriptor(int descriptor, std::int64_t offset, SeekFrom from);
/// Cuts or extends the file to `length` bytes; the position is unchanged. Returns 0.
int truncateDescriptor(int descriptor, std::int64_t length);

}  // namespace platform::os
