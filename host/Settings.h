#pragma once

#include <map>
#include <string>
#include <string_view>

namespace host {

/// Settings by whole key, such as `Recording/FragmentDuration`. Values are texts that the module judges; keys have to
/// be ones that it knows, since it would never ask for a misspelt one. A key given again takes the new value. The
/// password among them is kept out of swap space and core dumps, and wiped in the end.
class Settings {
 public:
  Settings() = default;
  ~Settings();
  Settings(Settings&&) = default;
  Settings& operator=(Settings&&) = delete;

  /// Takes `KEY=VALUE`, the value as it stands. Throws UsageError where there is no `=`, and for an unknown key.
  void assign(std::string_view assignment);
  /// Takes the lines of a file, `KEY = VALUE` each, white space around both trimmed. What follows a `#` at a line's
  /// start or behind white space is a comment. Throws UsageError, naming file and line.
  void readFile(const std::string& path);
  /// The same for a text; `name` is what an error calls it.
  void readText(std::string_view text, const std::string& name);

  /// The value, or null where the key was not given. Stays until the next change.
  const std::string* find(std::string_view key) const;

 private:
  void set(std::string_view key, std::string_view value);

  std::map<std::string, std::string, std::less<>> values_;
};

}  // namespace host
