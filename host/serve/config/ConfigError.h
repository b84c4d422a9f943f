#pragma once

#include <compare>
#include <string>
#include <vector>

#include "host/errors.h"

namespace host::serve {

/// A place in a configuration file, both counted from 1.
struct ConfigPlace {
  unsigned line = 1;
  unsigned column = 1;

  auto operator<=>(const ConfigPlace&) const = default;
};

/// Something wrong in a configuration file.
struct ConfigFinding {
  ConfigPlace place;
  /// Such as `stream.cam1.rotate`; empty if the file is no TOML.
  std::string key;
  std::string text;

  auto operator<=>(const ConfigFinding&) const = default;
};

/// A configuration that cannot be used. what() has a line `FILE:LINE:COLUMN: KEY: text` for each finding, by rising
/// place; the lines are separated by line ends.
class ConfigError : public UsageError {
 public:
  /// `file` is the path as the user gave it; there is at least one finding.
  ConfigError(const std::string& file, std::vector<ConfigFinding> findings);

  /// By rising place.
  const std::vector<ConfigFinding>& findings() const { return findings_; }

 private:
  std::vector<ConfigFinding> findings_;
};

/// Collects what is wrong in one file, so that all of it is reported at once.
class ConfigFindings {
 public:
  /// The same finding is kept once: a default of all streams is used by each of them.
  void add(ConfigFinding finding);
  /// Throws ConfigError if there are findings.
  void throwIfAny(const std::string& file) const;

 private:
  std::vector<ConfigFinding> findings_;
};

}  // namespace host::serve
