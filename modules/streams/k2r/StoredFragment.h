#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fragmentation/BootstrapInfo.h"
#include "imo/IMOFileContext.h"

namespace qvs::k2r {

/// What a fragment in a segment file says about its recording.
struct StoredFragment {
  /// The bootstrap that was to be written to disk after this fragment, which is its last one.
  ruvo::k2r::BootstrapInfo bootstrap;
  /// Absolute time of the recording's start in milliseconds; nothing if the fragment has no tag to count from.
  std::optional<std::uint32_t> baseTime;
};

/// Reads the fragment at the offset `position` of a segment file: `afra`, `abst`, `moof` and `mdat`, each whole.
/// Returns nothing if there is anything else, or no such file. Throws UnreadableFile if the host cannot open or read
/// the file. Changes nothing on disk.
std::optional<StoredFragment> readStoredFragment(IMOFileContext& files, const std::string& path,
                                                 std::uint64_t position);

}  // namespace qvs::k2r
