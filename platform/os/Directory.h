#pragma once

#include <string>
#include <system_error>
#include <vector>

#include "platform/os/Descriptor.h"

namespace platform::os {

/// Which failures a change of the file system survives.
enum class Durability {
  /// The end of this process only.
  kProcess,
  /// A loss of power, too: the change has reached the device.
  kDevice,
};

struct DirectoryEntry {
  enum class Type { kFile, kLinkToFile, kOther };
  std::string name;
  Type type = Type::kOther;
};

/// The entries of a directory, or why it cannot be read.
struct DirectoryListing {
  /// In the order of the file system, which is none; without "." and "..".
  std::vector<DirectoryEntry> entries;
  /// If set, `entries` is empty: half a listing would make files look as if they were missing.
  std::error_code error;
};

/// Lists the directory at a native path; follows a link. Files that come or go meanwhile may or may not be listed.
/// Throws std::bad_alloc.
DirectoryListing listDirectory(const std::string& native);

/// An open directory: stays the same one if another directory takes its path meanwhile.
class Directory {
 public:
  enum class Links { kFollow, kRefuse };

  /// `native` is a native path. With Links::kRefuse a link to a directory is not opened.
  explicit Directory(const std::string& native, Links links = Links::kFollow);

  /// Whether it is open. If not, list() has the reason.
  explicit operator bool() const { return static_cast<bool>(descriptor_); }
  DirectoryListing list() const;
  /// Removes a file of this directory; follows no link. True if it is gone, even if there was none. Not flushed.
  bool removeFile(const std::string& name) const noexcept;
  /// With Durability::kDevice: waits until names that were added or removed are on the device. A file system that
  /// cannot flush a directory says EINVAL and has nothing better to offer, so that this counts as done.
  bool flush(Durability durability = Durability::kDevice) const noexcept;

 private:
  Descriptor descriptor_;
  std::error_code openError_;
};

// The functions below take native paths. On false errno has the reason.

/// Makes a directory and those above it that are missing. False also if it exists.
bool makeDirectory(const std::string& path, Durability durability);
/// Removes an empty directory. True if it is gone, even if there was none.
bool removeDirectory(const std::string& path, Durability durability);
/// Flushes the directory that `path` is in.
bool flushParent(const std::string& path, Durability durability);

}  // namespace platform::os
