#include "host/verify/Findings.h"

#include <fmt/format.h>

namespace host {

void Findings::add(Finding finding) {
  if (counts_[static_cast<std::size_t>(finding.severity)]++ < kMaxKept) kept_.push_back(std::move(finding));
}

Severity Findings::worst() const {
  if (count(Severity::kDamage) != 0) return Severity::kDamage;
  return count(Severity::kRepairable) != 0 ? Severity::kRepairable : Severity::kNote;
}

bool FileFindings::expect(std::uint64_t offset, std::string_view what, std::uint64_t expected,
                          std::uint64_t found) const {
  if (expected == found) return true;
  damage(offset, fmt::format("{}: expected {}, found {}", what, expected, found));
  return false;
}

}  // namespace host
