#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "util/bytes.h"

namespace qvs::k2r {

/// The index of the current segment in memory, and how much of it is on disk.
///
/// A small index is written as a whole for each fragment. From kLeastShared entries on there are two files: the index
/// file, and a spare with the temporary name that has the version before. The spare gets the entries that it lacks and
/// is exchanged with the index file, so that a fragment costs the same however long the segment is. The file under the
/// name of the index is a whole version at every moment, and no reader sees the version that it has opened change.
///
/// Belongs to the thread that records its stream. Paths are in the module's form.
class SegmentIndex {
 public:
  /// Entries from which on a spare is kept: 16 KiB, less than what making and removing a file costs.
  static constexpr std::size_t kLeastShared = 512;

  const ruvo::k2r::AfraIndex& index() const { return index_; }
  const std::vector<ruvo::k2r::AfraEntry>& entries() const { return index_.globalEntries; }
  /// The whole box.
  util::ByteWriter image() const;
  /// Whether the numbers of the entries rise by exactly 1. Looks only at entries that it has not yet seen.
  bool isConsecutive();

  /// Continues an index that was read back.
  void take(ruvo::k2r::AfraIndex index);
  void add(const ruvo::k2r::AfraEntry& entry) { index_.globalEntries.push_back(entry); }
  /// Sets the offset of the last entry with this number, if there is one.
  void setPosition(std::uint32_t fragment, std::uint64_t position);
  /// Removes all entries after the first `size`.
  void cutTo(std::size_t size);

  /// The index file was replaced by this version as a whole.
  void wasReplaced();
  /// Brings the spare up to this version and exchanges it with the index file, durably. False if the index is small, or
  /// if anything fails: the index file is then a whole version, and the caller replaces it as a whole.
  bool exchange(const std::string& path, const std::string& temporary);
  /// Removes the spare, if there is one; the next flush of the directory makes that durable. To be called before a stop
  /// and before another segment is begun.
  void dropSpare(const std::string& temporary);

 private:
  /// Adds to the spare what it lacks. Returns false if the spare cannot be used; its content then means nothing.
  bool extendSpare(const std::string& temporary, std::size_t entriesThere) const;
  /// An entry changes: files that contain it are not continued.
  void changeFrom(std::size_t entry);

  ruvo::k2r::AfraIndex index_;
  /// So many entries at the front are known to be consecutive.
  std::size_t consecutive_ = 0;
  /// Entries in the index file and in the spare, equal to those here; 0 if the file is not to be continued.
  std::size_t inFile_ = 0;
  std::size_t inSpare_ = 0;
  /// There may be a file with the temporary name.
  bool hasSpare_ = false;
};

}  // namespace qvs::k2r
