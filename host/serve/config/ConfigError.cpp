#include "host/serve/config/ConfigError.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace host::serve {
namespace {

std::string linesOf(const std::string& file, const std::vector<ConfigFinding>& findings) {
  std::string lines;
  for (const ConfigFinding& finding : findings) {
    lines += fmt::format("{}{}:{}:{}: {}{}{}", lines.empty() ? "" : "\n", file, finding.place.line,
                         finding.place.column, finding.key, finding.key.empty() ? "" : ": ", finding.text);
  }
  return lines;
}

}  // namespace

ConfigError::ConfigError(const std::string& file, std::vector<ConfigFinding> findings)
    : UsageError(linesOf(file, findings)), findings_(std::move(findings)) {}

void ConfigFindings::add(ConfigFinding finding) {
  if (std::ranges::find(findings_, finding) == findings_.end()) findings_.push_back(std::move(finding));
}

void ConfigFindings::throwIfAny(const std::string& file) const {
  if (findings_.empty()) return;
  auto sorted = findings_;
  std::ranges::sort(sorted);
  throw ConfigError(file, std::move(sorted));
}

}  // namespace host::serve
