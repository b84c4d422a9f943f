#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform::os {

// The file calls of the C runtime, one each. -1 is a failure, and errno says which. A call that a signal interrupts is
// made again.

/// Answers a descriptor. `path` is the module's or native, `flags` are OpenFlags, `permission` that of a new file. A
/// directory is no file: EACCES.
int openDescriptor(std::string_view path, std::uint32_t flags, std::uint32_t permission);
/// The descriptor is gone also where this fails.
int closeDescriptor(int descriptor);
/// Answers the bytes read; 0 at the end.
std::int64_t readDescriptor(int descriptor, void* buffer, std::size_t count);
/// Answers the bytes written, which may be less than `count`.
std::int64_t writeDescriptor(int descriptor, const void* buffer, std::size_t count);

enum class SeekFrom { kStart, kCurrent, kEnd };
/// Answers the new position.
std::int64_t seekDescriptor(int descriptor, std::int64_t offset, SeekFrom from);
int truncateDescriptor(int descriptor, std::int64_t length);

}  // namespace platform::os
