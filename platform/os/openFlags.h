#pragma once

#include <cstdint>

namespace platform::os {

/// Flags with which the module and its host open files, to be or'ed. Neither of the first two opens for reading.
enum OpenFlags : std::uint32_t {
  kOpenWriteOnly = 0x0001,
  kOpenReadWrite = 0x0002,
  kOpenAppend = 0x0008,
  kOpenCreate = 0x0100,
  kOpenTruncate = 0x0200,
  kOpenExclusive = 0x0400,
  kOpenText = 0x4000,
  kOpenBinary = 0x8000,
  /// The bits that mean anything; all others are dropped.
  kOpenKnownFlags = 0xC70B,
};

/// Permission of a new file: its owner reads and writes.
inline constexpr std::uint32_t kOwnerReadsAndWrites = 0x180;

/// The same for open(2), with close-on-exec. Every file is binary. A file opened for reading only is never truncated.
int toPosixFlags(std::uint32_t flags);

}  // namespace platform::os
