#pragma once

#include <cstdint>

namespace platform::os {

/// Flags with which the module asks for a file, combined by `|`. The values are part of the interface to hosts, so they
/// are not those of the operating system. Without one of the first two a file is opened for reading.
enum OpenFlags : std::uint32_t {
  kOpenWriteOnly = 0x0001,
  kOpenReadWrite = 0x0002,
  kOpenAppend = 0x0008,
  kOpenCreate = 0x0100,
  kOpenTruncate = 0x0200,
  kOpenExclusive = 0x0400,
  kOpenText = 0x4000,
  kOpenBinary = 0x8000,
  /// All bits that have a meaning; others are ignored.
  kOpenKnownFlags = 0xC70B,
};

/// Mode of a new file (octal 600): only its owner reads and writes it.
inline constexpr std::uint32_t kOwnerReadsAndWrites = 0x180;

}  // namespace platform::os
