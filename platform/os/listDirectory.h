#pragma once

#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform::os {

/// The names in a directory, or the reason why it cannot be read.
struct DirectoryListing {
  /// In the order of the file system, which is none; without "." and "..". Names, not paths.
  std::vector<std::string> names;
  /// If set, `names` is empty: half a listing would make files look as if they were missing.
  std::error_code error;
};

/// Lists a directory; `path` may be the module's or native. Files that come or go meanwhile may or may not be listed.
/// Throws std::bad_alloc.
DirectoryListing listDirectory(std::string_view path);

}  // namespace platform::os
