#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "platform/container/reading/Source.h"
#include "platform/os/Descriptor.h"

namespace host::serve {

/// Files that are open for reading, each once while somebody uses it. Nothing stays open without a user: a removed
/// recording would not free its space. Any thread may call it.
class OpenFiles {
 public:
  using File = std::shared_ptr<const platform::os::Descriptor>;

  /// Throws std::system_error if it cannot be opened.
  File open(const std::string& path);

 private:
  std::mutex mutex_;
  /// By path. Guarded by `mutex_`.
  std::map<std::string, std::weak_ptr<const platform::os::Descriptor>> files_;
};

/// Reads an open file, without a position of its own. Refers to the file.
class OpenFileSource final : public krvo::container::Source {
 public:
  /// `file` is open for reading and outlives this object.
  explicit OpenFileSource(const platform::os::Descriptor& file) : file_(file) {}
  /// Throws std::system_error.
  std::uint64_t size() override;
  /// Throws SegmentError if the file ends before, and std::system_error.
  void read(std::uint64_t offset, std::span<std::byte> out) override;

 private:
  const platform::os::Descriptor& file_;
};

}  // namespace host::serve
