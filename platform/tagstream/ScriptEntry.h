#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace krvo::tagstream {

/// A named value in the script data of a tag, in AMF0. Shares the bytes with its tag's other values.
class ScriptEntry {
 public:
  /// What the data of a tag begin with: a text, the name, and the value behind it. Without a text the name is empty and
  /// there is no value.
  explicit ScriptEntry(std::vector<std::byte> data);

  const std::string& name() const { return name_; }
  /// Nothing where the value is none.
  std::optional<double> number() const;

 private:
  friend class ScriptMembers;
  ScriptEntry() = default;

  std::shared_ptr<const std::vector<std::byte>> data_;
  std::string name_;
  std::size_t value_ = 0;
};

/// Goes through the members of an object or a named array. It ends at its end, or where something is not well formed.
class ScriptMembers {
 public:
  explicit ScriptMembers(const ScriptEntry& owner);
  std::optional<ScriptEntry> next();

 private:
  std::shared_ptr<const std::vector<std::byte>> data_;
  std::size_t place_ = 0;
};

}  // namespace krvo::tagstream
