#pragma once

#include <map>
#include <string>
#include <string_view>

namespace host {

/// Settings by whole key, such as `Recording/FragmentDuration`. Each value is checked as it comes, by the table in
/// settingsTable.h, so that the module never gets one that it would read as something else, or ignore. A key that is
/// not in the table is an error: the module would never ask for it. A key that is given again takes the new value. The
/// password among them is kept out of swap space and core dumps, and wiped in the end.
class Settings {
 public:
  Settings() = default;
  ~Settings();
  Settings(Settings&&) = default;
  Settings& operator=(Settings&&) = delete;

  /// Takes `KEY=VALUE`, the value without any trimming. Throws UsageError if there is no `=`, if the key is unknown,
  /// and for a value of the wrong form, which is named with its key.
  void assign(std::string_view assignment);
  /// Takes the lines of a file, `KEY = VALUE` each, white space around both trimmed. What follows a `#` at a line's
  /// start or after white space is a comment. Throws UsageError, which names file and line and quotes the line only as
  /// far as it looks like a setting.
  void readFile(const std::string& path);
  /// The same for a text; `name` is what an error calls it.
  void readText(std::string_view text, const std::string& name);

  /// Throws UsageError where settings that need each other do not fit, or where a protected recording lacks a setting
  /// or a file. Once all are read: a later one may complete an earlier one.
  void requireComplete() const;

  /// The value, or null if the key was not given. Valid until the next change.
  const std::string* find(std::string_view key) const;

 private:
  /// Checks the value by the table and stores it in the form that the module reads.
  void set(std::string_view key, std::string_view value);
  /// The value or the default, of a key in the table.
  std::string_view text(std::string_view key) const;
  /// Only for keys whose values are numbers: they were checked when they came in.
  double number(std::string_view key) const;
  void requireFrames() const;
  void requireProtection() const;

  /// In the one form that the module reads; see the table.
  std::map<std::string, std::string, std::less<>> values_;
};

}  // namespace host
