#include "platform/os/listDirectory.h"

#include <dirent.h>

#include <cerrno>
#include <memory>

#include "platform/os/lastError.h"
#include "platform/os/paths.h"

namespace platform::os {
namespace {

struct Closer {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

}  // namespace

DirectoryListing listDirectory(std::string_view path) {
  const std::unique_ptr<DIR, Closer> directory(::opendir(toNative(path).c_str()));
  if (!directory) return {.names = {}, .error = lastError()};
  DirectoryListing listing;
  for (;;) {
    errno = 0;  // readdir() returns null at the end and for a failure; only errno differs
    const dirent* const entry = ::readdir(directory.get());
    if (entry == nullptr && errno != 0) return {.names = {}, .error = lastError()};
    if (entry == nullptr) return listing;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") listing.names.emplace_back(name);
  }
}

}  // namespace platform::os
