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
  /// Reports those that differ; the control file where it is the one that does.
  void report(Findings& findings, const std::string& controlFile) const;
  /// Nothing while no one has told any.
  std::optional<std::uint32_t> base() const { return reference_; }

 private:
  struct Other {
    std::string file;
    std::uint64_t offset = 0;
    std::uint32_t base = 0;
  };

  std::optional<std::uint32_t> reference_;
  bool fromControl_ = false;
  std::uint64_t agreeing_ = 0;
  std::vector<Other> others_;
};

}  // namespace host
