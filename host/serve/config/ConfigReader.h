#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/serve/ServeConfig.h"
#include "host/serve/config/ConfigError.h"
#include "host/serve/config/RecordingKeys.h"
#include "host/serve/config/TableReader.h"

namespace host::serve {

/// Makes a ServeConfig of a parsed file. Used once.
class ConfigReader {
 public:
  /// Relative paths begin at `folder`. The findings outlive it.
  ConfigReader(std::string folder, ConfigFindings& findings) : folder_(std::move(folder)), findings_(findings) {}

  /// What has a wrong value keeps its default; the findings say so.
  ServeConfig read(const toml::table& file);
  const std::vector<std::string>& warnings() const { return warnings_; }
  /// Whether the file itself contains passwords.
  bool hasSecrets() const { return hasSecrets_; }

 private:
  /// Keys of `[storage]` that a stream may have, too.
  struct StorageKeys {
    std::string root;
    std::optional<std::chrono::milliseconds> rotate;
    KeepLimits keep;
    Durability durability = Durability::kDevice;
  };

  /// `[server]`: address, token and origins.
  void readServer(TableReader table);
  void readListen(TableReader& table);
  void readOrigins(TableReader& table);
  /// `[storage]`: the keys of the whole process, and the defaults of the streams.
  void readStorage(TableReader table);
  void readStorageKeys(TableReader& table, StorageKeys& keys);
  /// One `[[stream]]`; `number` counts them from 1.
  void readStream(const toml::table& table, std::size_t number);
  /// The name that the findings of a stream show.
  static std::string streamPath(const toml::table& table, std::size_t number);
  void readName(TableReader& table, StreamConfig& stream);
  void readSource(TableReader& table, StreamConfig& stream);
  void readInputOptions(TableReader& table, StreamConfig& stream);
  void readHook(TableReader& table, StreamConfig& stream);
  /// Adds a finding for each root that is inside of another one.
  void requireSeparateRoots();
  /// Nothing, with a finding, if the file cannot be read, or is not what `readSecret` expects.
  std::optional<std::string> secretOf(TableReader& table, const std::string& key, const std::string& path,
                                      std::string (*readSecret)(const std::string&));
  /// The absolute path that the key has; nothing without the key.
  std::optional<std::string> pathAt(TableReader& table, const std::string& key);
  /// The path with `folder_` before it if it is relative.
  std::string absolutePath(const std::string& path) const;

  std::string folder_;
  ConfigFindings& findings_;
  std::vector<std::string> warnings_;
  ServeConfig config_;
  StorageKeys storage_;
  RecordingKeys recording_;
  std::set<std::string> names_;
  bool hasSecrets_ = false;
  /// Where each root was named first.
  std::map<std::string, ConfigFinding> roots_;
};

}  // namespace host::serve
