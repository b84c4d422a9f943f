#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "host/serve/ServeConfig.h"
#include "host/serve/config/ConfigError.h"
#include "host/serve/config/TableReader.h"

namespace host::serve {

/// How a setting of the module is spelled in the configuration: `Recording/VantryV2/LicenseServerURL` is
/// `license_server_url`.
std::string settingWord(std::string_view key);

/// The keys of `[recording]`, or of a stream's `recording` table over those.
class RecordingKeys {
 public:
  /// Takes what the table has; the rest stays.
  void read(TableReader table, ConfigFindings& findings);
  /// Puts them into the stream. Adds a finding, at the stream unless it is about one key, if settings do not fit
  /// each other or a file is missing.
  void apply(StreamConfig& stream, const TableReader& section, ConfigFindings& findings) const;

 private:
  struct Setting {
    std::string value;
    /// Where it was given, and as what.
    ConfigPlace place;
    std::string path;
  };

  /// The finding for what Settings says about `section`, a stream.
  ConfigFinding findingOf(const std::string& text, const TableReader& section) const;
  void readLimits(TableReader& table);
  void readSetting(TableReader& table, std::string_view key, ConfigFindings& findings);

  /// By whole key.
  std::map<std::string, Setting, std::less<>> settings_;
  /// A value is missing here because it was wrong: what follows from that is not reported.
  bool isFaulty_ = false;
  std::chrono::milliseconds stallTimeout_ = StreamConfig{}.stallTimeout;
  std::chrono::milliseconds maxGap_ = StreamConfig{}.maxGap;
  std::uint64_t maxQueue_ = StreamConfig{}.maxQueue;
};

}  // namespace host::serve
