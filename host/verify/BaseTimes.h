#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/verify/Findings.h"

namespace host {

/// Collects the base times of a recording and reports those that disagree.
///
/// A sample's decode time counts from the recording's base time; the timestamp of its tag does not. So the difference
/// of the two, for the first sample of each track in each fragment, must be the base time in the control file. The
/// first base time that is known is the reference. Appends keep the base time, so there is one for all segments.
class BaseTimes {
 public:
  /// Limit of the deviations that are kept, so that a recording in which no fragment agrees costs bounded memory.
  static constexpr std::size_t kMaxKept = 10000;

  explicit BaseTimes(std::optional<std::uint32_t> controlBase)
      : reference_(controlBase), fromControl_(controlBase.has_value()) {}

  /// Adds the base time, in ms, that the `tfdt` at `offset` of `file` implies.
  void add(const std::string& file, std::uint64_t offset, std::uint32_t base);
  /// Reports the deviations: the control file if all fragments agree against it, else each fragment that deviates. Call
  /// it once, after the last fragment: which side is wrong can only be said when all are known.
  void report(Findings& findings, const std::string& controlFile) const;
  /// The reference in ms, or nothing as long as no file has given one.
  std::optional<std::uint32_t> base() const { return reference_; }

 private:
  struct Other {
    std::string file;
    std::uint64_t offset = 0;
    std::uint32_t base = 0;
  };

  std::optional<std::uint32_t> reference_;
  bool fromControl_ = false;
  /// Number of fragments that agree with the reference.
  std::uint64_t agreeing_ = 0;
  std::vector<Other> others_;
};

}  // namespace host
