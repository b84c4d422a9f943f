#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/plain/PlainFragment.h"
#include "host/serve/http/Body.h"
#include "host/serve/play/BoundedCache.h"
#include "host/serve/play/FragmentAddress.h"
#include "host/serve/play/MemoryCopies.h"
#include "host/serve/play/OpenFiles.h"
#include "host/serve/play/PlayedRecording.h"

namespace host::serve {

/// The contents of fragments in the plain view. Those that many players get are kept in memory. Any thread may call it;
/// two that want the same new fragment may both make it.
class FragmentBodies {
 public:
  /// In bytes.
  struct Limits {
    /// Of the boxes, without samples.
    std::uint64_t boxes = std::uint64_t{16} << 20;
    /// Of whole fragments: those that are kept, and those that are kept or still sent.
    std::uint64_t kept = std::uint64_t{64} << 20;
    std::uint64_t copies = std::uint64_t{128} << 20;
  };

  explicit FragmentBodies(const Limits& limits) : boxes_(limits.boxes), copies_(limits.copies), kept_(limits.kept) {}

  /// The fragment at that address, in memory if there is room for it, else with spans of the file at `path`, its
  /// segment. Without durations in the address it has a successor in its recording; with some it has one for each
  /// track. Never null. Throws std::system_error if the file cannot be opened or read, CommandError if it is malformed.
  std::shared_ptr<const Body> get(const PlayedFragment& fragment, const FragmentAddress& address,
                                  const std::string& path);

 private:
  using Boxes = std::shared_ptr<const PlainFragment>;

  Boxes boxesOf(const std::string& key, const PlayedFragment& fragment, const FragmentAddress& address,
                const std::string& path, const OpenFiles::File& file);

  // By the recording's path and the address.
  BoundedCache<const PlainFragment> boxes_;
  MemoryCopies copies_;
  BoundedCache<const Body> kept_;
  OpenFiles files_;
};

}  // namespace host::serve
