#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "imo/IMOFileContext.h"
#include "util/QVSException.h"

namespace qvs::k2r {

// Reads the small files of a recording. Paths are in the module's form.

/// A file exists, or may exist, and cannot be read: no descriptors are left, permissions are missing, or the device
/// fails. The file may be intact, so nothing may be decided as if it were missing.
class UnreadableFile : public QVSException {
 public:
  UnreadableFile(const std::string& path, const std::string& reason)
      : QVSException("Failed to read file '" + path + "': " + reason) {}
};

/// Whether a path exists. Throws UnreadableFile if the host returns neither 0 (it exists) nor -1 (it does not).
bool isThere(IMOFileContext& files, const std::string& path);

/// The first `maxSize` bytes of a file, or all of a shorter one. Throws UnreadableFile.
std::vector<std::byte> loadStart(const std::string& path, std::size_t maxSize);
/// A whole file. Throws UnreadableFile, also for one above 256 MiB.
std::vector<std::byte> loadSmallFile(const std::string& path);

/// Both throw InvalidBootstrapFormat or InvalidAfraFormat for another box, and MalformedInput if the bytes end too
/// early.
ruvo::k2r::BootstrapInfo parseBootstrap(std::span<const std::byte> content);
ruvo::k2r::AfraIndex parseIndex(std::span<const std::byte> content);

/// Load and parse. A file that ends too early throws UnreadableFile, because a whole one may be there a moment later.
/// Nothing is cached: each call reads the file.
ruvo::k2r::BootstrapInfo readBootstrapFile(const std::string& path);
ruvo::k2r::AfraIndex readIndexFile(const std::string& path);

}  // namespace qvs::k2r
