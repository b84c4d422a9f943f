#pragma once

#include <cstdint>
#include <optional>

#include "fileset/FileNames.h"
#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "imo/IMOFileContext.h"
#include "modules/streams/k2r/StoredFragment.h"

namespace qvs::k2r {

/// Finds where a recording on disk ends. An interruption, or a file that could not be replaced for a while, may have
/// left the bootstrap older than the indexes; the fragments then say what it should be. Reads only, and writes nothing.
///
/// `files` outlives it. For one thread.
class StoredRecording {
 public:
  /// Where an append continues.
  struct End {
    /// The one on disk, brought up to the last fragment.
    ruvo::k2r::BootstrapInfo bootstrap;
    /// Of the last segment. At least one of its entries has a fragment.
    ruvo::k2r::AfraIndex index;
    /// Number of the last segment.
    std::uint32_t segment = 0;
    /// Offset of the last fragment in that segment's file.
    std::uint64_t position = 0;
    /// Absolute time of the recording's start in milliseconds, if a fragment that was read says it.
    std::optional<std::uint32_t> baseTime;
  };

  enum class BaseTime {
    /// From the last fragment, which is read anyway.
    kIfAtHand,
    /// If the last fragment has none, from the one before, and so on back to the first.
    kSearched,
  };

  /// Reads the bootstrap. Throws QVSException if it is no bootstrap or names no segment, UnreadableFile if it cannot be
  /// read. `names` are paths in the module's form.
  StoredRecording(IMOFileContext& files, fileset::FileNames names);

  /// Throws UnreadableFile if a file is there and cannot be read: nothing may be decided as if it were missing. Throws
  /// QVSException if an index is malformed, or none has a fragment. Afterwards the object has nothing left to give.
  End findEnd(BaseTime baseTime);

 private:
  ruvo::k2r::AfraIndex readIndex(std::uint32_t segment) const;
  std::optional<ruvo::k2r::AfraIndex> readNextIndex(std::uint32_t segment) const;
  std::optional<StoredFragment> readLastFragment(std::uint32_t segment, const ruvo::k2r::AfraIndex& index) const;
  void skipEmptySegments();
  std::optional<StoredFragment> takeUnannounced();
  std::optional<std::uint32_t> searchBaseTime() const;

  IMOFileContext& files_;
  fileset::FileNames names_;
  End end_;
};

}  // namespace qvs::k2r
