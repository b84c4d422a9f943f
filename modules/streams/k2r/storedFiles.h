#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "imo/IMOFileContext.h"
#include "util/QVSException.h"

namespace qvs::k2r {

// The small files of a recording, read back. Paths are the module's.

/// A file is there, or may be, and could not be read: for want of descriptors or of rights, or because the device
/// fails. It may be whole, so nothing may be decided as if it were missing.
class UnreadableFile : public QVSException {
 public:
  UnreadableFile(const std::string& path, const std::string& reason)
      : QVSException("Failed to read file '" + path + "': " + reason) {}
};

/// Whether a path exists. Throws UnreadableFile where the host tells neither.
bool isThere(IMOFileContext& files, const std::string& path);

/// The first `maxSize` bytes of a file. Throws UnreadableFile.
std::vector<std::byte> loadStart(const std::string& path, std::size_t maxSize);
/// A whole file. Throws UnreadableFile, also above 256 MiB.
std::vector<std::byte> loadSmallFile(const std::string& path);

/// Throw InvalidBootstrapFormat or InvalidAfraFormat for another box, MalformedInput where the bytes end in it.
ruvo::k2r::BootstrapInfo parseBootstrap(std::span<const std::byte> content);
ruvo::k2r::AfraIndex parseIndex(std::span<const std::byte> content);

/// Both steps. A file that ends in its box throws UnreadableFile, too.
ruvo::k2r::BootstrapInfo readBootstrapFile(const std::string& path);
ruvo::k2r::AfraIndex readIndexFile(const std::string& path);

}  // namespace qvs::k2r
