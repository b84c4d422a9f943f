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

/// Holds the fragments of a recording, one behind another, against each other: their index entries, the bootstraps in
/// them and the times of their tags.
class FragmentChain {
 public:
  struct Link {
    HistoryStep step;
    /// As it should be, where it differed.
    ruvo::k2r::BootstrapInfo bootstrap;
    /// Where it stands.
    std::string file;
    std::uint64_t bootstrapOffset = 0;
  };

  /// Adds the fragment of an entry of `index`, whose number and time are corrected where the rest tells otherwise.
  void add(const FileFindings& segment, IndexFile& index, std::size_t entry, const FragmentContent& content);
  /// Goes on behind these, which stand unchecked.
  void resume(std::optional<Link> beforeLast, Link last) {
    beforeLast_ = std::move(beforeLast);
    last_ = std::move(last);
  }
  /// Between the fragment added last and the next one there is one that could not be read.
  void breakOff() { broken_ = true; }

  /// The fragment added last, and the one before it; null while there is none.
  const Link* last() const { return last_ ? &*last_ : nullptr; }
  const Link* beforeLast() const { return beforeLast_ ? &*beforeLast_ : nullptr; }

 private:
  void checkNumber(IndexFile& index, std::size_t entry, const FragmentContent& content) const;
  void checkTime(const FileFindings& segment, IndexFile& index, std::size_t entry,
                 const FragmentContent& content) const;
  void checkTagTimes(const FileFindings& segment, const FragmentContent& content,
                     const ruvo::k2r::AfraEntry& entry) const;
  void checkStart(const FileFindings& segment, const FragmentContent& content, const HistoryStep& step) const;
  /// Before this time there can be no tag in the fragment.
  std::uint64_t earliestTag(const ruvo::k2r::AfraEntry& entry) const;
  ruvo::k2r::BootstrapInfo checkBootstrap(const FileFindings& segment, const FragmentContent& content,
                                          const HistoryStep& step) const;

  std::optional<Link> last_;
  std::optional<Link> beforeLast_;
  bool broken_ = false;
};

}  // namespace host
