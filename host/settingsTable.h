#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

namespace host {

/// Which texts a setting can have.
enum class SettingKind {
  /// A length of time: a whole number of milliseconds.
  kMilliseconds,
  /// A whole number.
  kNumber,
  /// A number with or without decimals.
  kDecimal,
  /// "true" or "false" in any mix of cases.
  kBoolean,
  /// Any text.
  kText,
  /// The path of a file.
  kFile,
  /// A text that is never shown.
  kSecret,
};

/// A setting that the module reads. The texts are literals. README.md has a row for each.
struct SettingInfo {
  std::string_view key;
  SettingKind kind;
  /// What the module takes if the key is absent; empty where there is nothing.
  std::string_view fallback;
  /// Its meaning, for the help.
  std::string_view text;
  /// The range of numbers and times, both ends included.
  std::uint32_t least = 0;
  std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
};

/// All settings, in the order of the help. It is the one list of them: the checks, the help and the table in README.md
/// (which a test compares) follow it.
std::span<const SettingInfo> knownSettings();

/// Null if there is no setting of that key. Keys are compared with their case.
const SettingInfo* findSetting(std::string_view key);
/// The key that `typed` was probably meant to be, or empty.
std::string nearestSetting(std::string_view typed);

/// Throws UsageError, with the key and what is expected, for a value that the module would not read as it is meant.
/// Does not look at other settings or at files.
void checkValue(const SettingInfo& setting, std::string_view value);
/// Brings a value that checkValue() accepts into the one form that the module reads: a boolean in lower case, the path
/// of a file with slashes. In place, so that no copy of a secret is made.
void normalize(const SettingInfo& setting, std::string& value);

/// Its meaning with unit and range, for help and README.md.
std::string describe(const SettingInfo& setting);
/// The table for the help of a command. Ends in a newline.
std::string settingsHelp();

}  // namespace host
