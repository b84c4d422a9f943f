#include "modules/streams/k2r/staleFiles.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "modules/streams/k2r/fileNames.h"
#include "platform/os/durableFiles.h"
#include "platform/os/listDirectory.h"
#include "platform/os/paths.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

/// Whether a file is to go, by what follows the stem in its name.
bool isStale(std::string_view name) {
  return name == ".drmmeta" || name == ".meta" || isSegmentName(name);
}

void removeStale(const std::string& path) {
  if (!platform::os::removeFile(path)) throw QVSException("Failed to remove file '" + path + "' of an old recording");
}

}  // namespace

void removeStaleFiles(const std::string& basePath) {
  const std::string native = platform::os::toNative(basePath);
  const std::size_t stemBegin = native.rfind('/') + 1;  // A base path has a separator.
  const std::string directory = native.substr(0, stemBegin);
  const std::string stem = native.substr(stemBegin);
  const platform::os::DirectoryListing listing = platform::os::listDirectory(directory);
  // A host may make the directory with its first file.
  if (listing.error == std::errc::no_such_file_or_directory) return;
  if (listing.error) throw QVSException("Failed to list directory '" + directory + "': " + listing.error.message());
  // The bootstrap goes first: it must never name what no index does.
  constexpr const char* kBootstrap = ".bootstrap";
  if (std::ranges::find(listing.names, stem + kBootstrap) != listing.names.end()) removeStale(basePath + kBootstrap);
  for (const std::string& name : listing.names) {
    if (!name.starts_with(stem)) continue;
    const std::string suffix = name.substr(stem.size());
    if (isStale(suffix)) removeStale(basePath + suffix);
  }
}

}  // namespace qvs::k2r
