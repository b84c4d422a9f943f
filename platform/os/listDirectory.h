#pragma once

#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform::os {

/// The names in a directory, or why it cannot be read.
struct DirectoryListing {
  /// In no order, without "." and "..".
  std::vector<std::string> names;
  /// If it is set, `names` is empty.
  std::error_code error;
};

/// Lists a directory, given by the module's or a native path.
DirectoryListing listDirectory(std::string_view path);

}  // namespace platform::os
