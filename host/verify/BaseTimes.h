#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/verify/Findings.h"

namespace host {

/// Samples are timed from the recording's base time, and the tags they are made of are not. So each track of each
/// fragment tells a base time, and all of them, and the control file, have to tell the same one.
class BaseTimes {
 public:
  /// Bounds what is kept of a recording in which none fits.
  static constexpr std::size_t kMaxKept = 10000;

  explicit BaseTimes(std::optional<std::uint32_t> controlBase)
      : reference_(controlBase), fromControl_(controlBase.has_value()) {}

  /// What a `tfdt` tells, which stands at `offset` of `file`.
  void add(const std::string& file, std::uint64_t offset, std::uint32_t base);
  /// Behind the fragments so far there is one without tags, which tells none. An append that lacks the control file
  /// looks into the last fragment; where that tells none, it counts from its own first message.
  void addTagless() { ++tagless_; }
  /// Reports those that differ; the control file where it is the one that does.
  void report(Findings& findings, const std::string& controlFile) const;
  /// Nothing while no one has told any.
  std::optional<std::uint32_t> base() const { return reference_; }

 private:
  struct Other {
    std::string file;
    std::uint64_t offset = 0;
    std::uint32_t base = 0;
    /// Fragments without tags before it.
    std::uint64_t tagless = 0;
  };

  /// Whether appends without a control file account for all that differs: behind each of the other bases there is a
  /// fragment without tags before the next one is told, the last of which is that in the control file.
  bool beganAnew() const;

  std::optional<std::uint32_t> reference_;
  bool fromControl_ = false;
  std::uint64_t agreeing_ = 0;
  std::uint64_t tagless_ = 0;
  /// Of `tagless_`, when the first one agreed.
  std::uint64_t taglessBeforeAgreeing_ = 0;
  std::vector<Other> others_;
};

}  // namespace host
