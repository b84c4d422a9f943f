#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fragmentation/BootstrapInfo.h"
#include "imo/IMOFileContext.h"

namespace qvs::k2r {

/// What a fragment in a segment file tells of its recording.
struct StoredFragment {
  /// As it was to be written to disk behind this fragment, which it names.
  ruvo::k2r::BootstrapInfo bootstrap;
  /// Absolute time of the recording's start; nothing where the fragment has no tag to count from.
  std::optional<std::uint32_t> baseTime;
};

/// Reads the fragment that begins at `position` of a segment file: `afra`, `abst`, `moof` and `mdat`, each whole in the
/// file. Nothing where there is anything else, or no such file. Throws UnreadableFile where the host cannot open or
/// read the file. Changes nothing on disk.
std::optional<StoredFragment> readStoredFragment(IMOFileContext& files, const std::string& path,
                                                 std::uint64_t position);

}  // namespace qvs::k2r
