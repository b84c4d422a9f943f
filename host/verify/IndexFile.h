#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/verify/Findings.h"
#include "host/verify/bootstrapHistory.h"

namespace host {

/// The index file (`.k2i`) of a segment. If an entry contradicts the rest of the recording, the difference is reported
/// and the entry corrected in memory, so that one wrong number is one finding. Entries must not be added or removed:
/// subscripts and offsets in the file follow from their order.
class IndexFile {
 public:
  /// Parses `bytes` and checks what needs no other file: its form, numbers that rise by one, the segment number, fixed
  /// fields. A malformed file is reported and leaves an index without entries.
  IndexFile(const std::vector<std::byte>& bytes, std::uint32_t segment, FileFindings out);

  const FileFindings& out() const { return out_; }
  std::vector<ruvo::k2r::AfraEntry>& entries() { return index_.globalEntries; }
  const std::vector<ruvo::k2r::AfraEntry>& entries() const { return index_.globalEntries; }
  /// Offset of an entry in the file, in bytes.
  std::uint64_t offsetOf(std::size_t entry) const;
  /// Whether more than half of the entries agree on the numbers.
  bool numbersAreSure() const { return numbersAreSure_; }
  /// Reports and corrects the number of an entry, if it is not `number`.
  void correctNumber(std::size_t entry, std::uint32_t number);
  /// Checks that the numbers rise by one. The numbers of entries with a position must have been corrected before.
  void checkSequence();
  /// The positions of all entries that have one. Offsets in the segment file. Entries without a position are numbers
  /// without a fragment.
  std::set<std::uint64_t> positions() const;
  /// Subscript of the last entry with a position, or nothing.
  std::optional<std::size_t> lastWritten() const;

  /// Checks the times of the entries without a position. The times of the others must have been corrected before.
  /// `bootstrap` is the last one of the recording.
  void checkSkippedTimes(const ruvo::k2r::BootstrapInfo& bootstrap) const;

 private:
  /// Compares the bytes with those that the module writes for the same entries.
  void checkForm(const std::vector<std::byte>& bytes);
  /// Finds the numbers that most entries agree on, and corrects the others.
  void checkNumbers();
  /// Each entry must name the segment whose index this is.
  void checkSegment(std::uint32_t segment);
  void checkSkippedTime(std::size_t entry, const FragmentRuns& runs) const;

  FileFindings out_;
  ruvo::k2r::AfraIndex index_;
  bool numbersAreSure_ = false;
};

}  // namespace host
