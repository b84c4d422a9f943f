#include "modules/streams/k2r/staleFiles.h"

#include <algorithm>
#include <string>
#include <system_error>

#include "platform/os/Directory.h"
#include "platform/os/durableFiles.h"
#include "platform/os/paths.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

using platform::os::DirectoryEntry;

/// The bootstrap is not among them: it has been removed first.
bool isStale(fileset::FileKind kind) {
  using enum fileset::FileKind;
  return kind == kMeta || kind == kDrmMeta || kind == kSegment || kind == kIndex;
}

void removeStale(const std::string& path) {
  if (!platform::os::removeFile(path)) throw QVSException("Failed to remove file '" + path + "' of an old recording");
}

}  // namespace

void removeStaleFiles(const fileset::FileNames& names) {
  const std::string native = platform::os::toNative(names.stem);
  const std::size_t stemBegin = native.rfind('/') + 1;  // A stem from a stream path has a separator.
  const std::string directory = native.substr(0, stemBegin);
  const std::string stem = native.substr(stemBegin);
  const auto [entries, error] = platform::os::listDirectory(directory);
  // A host may make the directory together with its first file.
  if (error == std::errc::no_such_file_or_directory) return;
  if (error) throw QVSException("Failed to list directory '" + directory + "': " + error.message());
  // The bootstrap is removed first: it must never name a fragment that no index names.
  const std::string bootstrap = fileset::FileNames{stem}.bootstrapName();
  if (std::ranges::find(entries, bootstrap, &DirectoryEntry::name) != entries.end()) {
    removeStale(names.bootstrapName());
  }
  for (const DirectoryEntry& entry : entries) {
    const auto role = fileset::roleOf(entry.name, stem);
    if (role && isStale(role->kind)) removeStale(names.stem + entry.name.substr(stem.size()));
  }
}

}  // namespace qvs::k2r
