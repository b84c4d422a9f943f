#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "fragmentation/BootstrapInfo.h"
#include "host/verify/FragmentCheck.h"
#include "host/verify/IndexFile.h"
#include "host/verify/bootstrapHistory.h"

namespace host {

/// Compares consecutive fragments of a recording: their index entries, the bootstraps in them and the times of their
/// tags. The fragments of all segments form one chain, in the order of their positions. What is reported once is not
/// reported again for the next link: each link has the corrected values.
class FragmentChain {
 public:
  struct Link {
    /// The fragment as index and tags describe it together.
    HistoryStep step;
    /// The bootstrap in the fragment; the expected one if it differed, so that one error is reported once.
    ruvo::k2r::BootstrapInfo bootstrap;
    /// The segment file that contains it, and the offset of its `abst` there.
    std::string file;
    std::uint64_t bootstrapOffset = 0;
  };

  /// Adds the fragment that `entry` of `index` names. Corrects number and time of the entry in `index` if the fragment
  /// contradicts them, after reporting the difference.
  void add(const FileFindings& segment, IndexFile& index, std::size_t entry, const FragmentContent& content);
  /// Makes the next fragment the successor of `last`. Both links are trusted as they are. For quickLook(), which begins
  /// in the middle of a recording.
  void resume(std::optional<Link> beforeLast, Link last) {
    beforeLast_ = std::move(beforeLast);
    last_ = std::move(last);
  }
  /// Says that a fragment between the last one and the next one could not be read. The next one is then not compared
  /// with its predecessor.
  void breakOff() { broken_ = true; }

  /// The last fragment added, and the one before it; null if there is none.
  const Link* last() const { return last_ ? &*last_ : nullptr; }
  /// A view, valid until the next change of the chain; null if there is none that is known.
  const Link* beforeLast() const { return beforeLast_ ? &*beforeLast_ : nullptr; }

 private:
  /// Compares the number in the index with the one that the fragment's bootstrap ends with.
  void checkNumber(IndexFile& index, std::size_t entry, const FragmentContent& content) const;
  /// Compares the time in the index with the bootstrap's, which says when the fragment begins.
  void checkTime(const FileFindings& segment, IndexFile& index, std::size_t entry,
                 const FragmentContent& content) const;
  /// Checks that no tag is older than the fragment may have.
  void checkTagTimes(const FileFindings& segment, const FragmentContent& content,
                     const ruvo::k2r::AfraEntry& entry) const;
  void checkStart(const FileFindings& segment, const FragmentContent& content, const HistoryStep& step) const;
  /// The lowest time, in ms, that a tag of the fragment may have.
  std::uint64_t earliestTag(const ruvo::k2r::AfraEntry& entry) const;
  ruvo::k2r::BootstrapInfo checkBootstrap(const FileFindings& segment, const FragmentContent& content,
                                          const HistoryStep& step) const;

  std::optional<Link> last_;
  std::optional<Link> beforeLast_;
  /// Set by breakOff() until the next fragment was added.
  bool broken_ = false;
};

}  // namespace host
