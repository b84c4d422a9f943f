#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/verify/Findings.h"
#include "host/verify/bootstrapHistory.h"

namespace host {

/// The index file of a segment. Its entries keep the values that the rest of the recording tells, once what differs has
/// been reported, so that one wrong number is one finding.
class IndexFile {
 public:
  /// Checks the form of the file, and all that it can tell by itself: numbers that rise by one, the segment, the fixed
  /// fields.
  IndexFile(const std::vector<std::byte>& bytes, std::uint32_t segment, FileFindings out);

  const FileFindings& out() const { return out_; }
  std::vector<ruvo::k2r::AfraEntry>& entries() { return index_.globalEntries; }
  const std::vector<ruvo::k2r::AfraEntry>& entries() const { return index_.globalEntries; }
  /// Where an entry stands in the file.
  std::uint64_t offsetOf(std::size_t entry) const;
  /// More than half of the entries agree on the numbers.
  bool numbersAreSure() const { return numbersAreSure_; }
  /// Reports the number of an entry, and puts it right, where it is another one.
  void correctNumber(std::size_t entry, std::uint32_t number);
  /// Checks that the numbers rise by one, once those of fragments are right.
  void checkSequence();
  /// Positions of the fragments that it names.
  std::set<std::uint64_t> positions() const;
  /// The place of the last entry with a position, or nothing.
  std::optional<std::size_t> lastWritten() const;

  /// Checks the times of the entries without a position, once those with one have their right times. `bootstrap` is the
  /// last one of the recording.
  void checkSkippedTimes(const ruvo::k2r::BootstrapInfo& bootstrap) const;

 private:
  void checkForm(const std::vector<std::byte>& bytes);
  void checkNumbers();
  void checkSegment(std::uint32_t segment);
  void checkSkippedTime(std::size_t entry, const FragmentRuns& runs) const;

  FileFindings out_;
  ruvo::k2r::AfraIndex index_;
  bool numbersAreSure_ = false;
};

}  // namespace host
