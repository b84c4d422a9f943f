#pragma once

#include <toml++/toml.h>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/serve/config/ConfigError.h"

namespace host::serve {

/// Reads the keys of one table of a configuration file. Each function returns nothing if the key is absent, and adds a
/// finding and returns nothing if its value has the wrong form. What is never asked for is an unknown key: see
/// finish(). The table and the findings outlive it.
class TableReader {
 public:
  /// `path` is the table's own name in findings, such as `stream.cam1`; empty for the whole file.
  TableReader(const toml::table& table, std::string path, ConfigFindings& findings)
      : table_(table), path_(std::move(path)), findings_(findings) {}

  /// Not empty, and without control characters.
  std::optional<std::string> text(const std::string& key);
  /// The same, but it may be empty.
  std::optional<std::string> textOrEmpty(const std::string& key);
  /// true or false, without quotes.
  std::optional<bool> boolean(const std::string& key);
  /// A whole number from `least` to `most`.
  std::optional<std::int64_t> number(const std::string& key, std::int64_t least, std::int64_t most);
  /// See units.h.
  std::optional<std::chrono::milliseconds> duration(const std::string& key);
  /// Bytes, see units.h.
  std::optional<std::uint64_t> byteCount(const std::string& key);
  /// A list of texts, each not empty.
  std::optional<std::vector<std::string>> texts(const std::string& key);
  /// A view of the file; null instead of nothing.
  const toml::table* table(const std::string& key);
  /// A list of tables. Empty if there is none.
  std::vector<const toml::table*> tables(const std::string& key);
  /// A text, a whole number, a decimal number or a boolean as a text.
  std::optional<std::string> scalar(const std::string& key);
  /// The value, whatever its form, or null.
  const toml::node* node(const std::string& key);

  /// Whether the key is there, whatever its value. The key does not count as asked for.
  bool has(const std::string& key) const { return table_.contains(key); }

  /// Adds a finding at the value of `key`, or at the table if the key is absent.
  void fault(const std::string& key, std::string text);
  /// Where the value of `key` is, or the table if the key is absent.
  ConfigPlace placeOf(const std::string& key) const;
  /// The name of the key in findings, such as `stream.cam1.rotate`.
  std::string pathOf(std::string_view key) const;
  /// Adds a finding for each key that no function was called for, with the nearest of those.
  void finish();

 private:
  /// Adds a finding unless the text may be used.
  bool isPlain(const std::string& key, std::string_view text);

  const toml::table& table_;
  std::string path_;
  ConfigFindings& findings_;
  std::vector<std::string> known_ = {};
};

}  // namespace host::serve
