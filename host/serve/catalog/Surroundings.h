#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace host::serve {

/// What catalog and retention know of the world, so that a test can set it. Any thread may call it.
class Surroundings {
 public:
  virtual ~Surroundings() = default;
  /// Milliseconds since 1970-01-01 UTC. May jump both ways.
  virtual std::int64_t nowMs() const = 0;
  /// Bytes that this process may still write to the file system of `path`; nothing if that is unknown.
  virtual std::optional<std::uint64_t> freeBytes(const std::string& path) const = 0;
  /// Whether both paths are there and on one file system.
  virtual bool isOneFileSystem(const std::string& one, const std::string& other) const = 0;
};

/// The system's clock and file systems.
const Surroundings& systemSurroundings();

}  // namespace host::serve
