#include "host/verify/BaseTimes.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {

void BaseTimes::add(const std::string& file, std::uint64_t offset, std::uint32_t base) {
  if (!reference_) reference_ = base;
  if (base == *reference_) {
    ++agreeing_;
  } else if (others_.size() < kMaxKept) {
    others_.push_back({file, offset, base});
  }
}

void BaseTimes::report(Findings& findings, const std::string& controlFile) const {
  if (others_.empty()) return;
  const std::uint32_t base = others_.front().base;
  const bool allAlike =
      std::all_of(others_.begin(), others_.end(), [base](const Other& other) { return other.base == base; });
  // The control file is one witness, every fragment is another. So it is the wrong one if no fragment agrees with it
  // and they all agree with each other.
  if (fromControl_ && agreeing_ == 0 && allAlike) {
    FileFindings(findings, controlFile)
        .damage(0, fmt::format("base time: expected {}, from which all fragments count, found {}", base, *reference_));
    return;
  }
  for (const Other& other : others_) {
    FileFindings(findings, other.file)
        .damage(other.offset, fmt::format("first sample's time: expected one that counts from {}, found one from {}",
                                          *reference_, other.base));
  }
}

}  // namespace host
