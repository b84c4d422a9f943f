#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "platform/tagstream/krvo_mtg.h"

namespace krvo::tagstream {

/// A named value that the caller's reader of script data has made. Gives it back to the reader at the end.
class ScriptEntry {
 public:
  /// What `reader` makes of the data of a tag. Throws StatusError: the reader's own status, or kKrvoMTGBadArgument if a
  /// callback is missing.
  static std::shared_ptr<const ScriptEntry> read(const KrvoMTGScriptCallBacks& reader, std::span<const std::byte> data);

  explicit ScriptEntry(const KrvoMTGScriptCallBacks& reader) : reader_(reader) {}
  ~ScriptEntry();
  ScriptEntry(const ScriptEntry&) = delete;
  ScriptEntry& operator=(const ScriptEntry&) = delete;

  /// A view that lives as long as this.
  std::string_view name() const { return {value_.name, value_.nameLength}; }
  /// Nothing if the value is no number.
  std::optional<double> number() const;
  /// Asked for one at a time, so that the members take no memory here. Null behind the last one. Throws StatusError.
  std::shared_ptr<const ScriptEntry> member(std::uint32_t index) const;

 private:
  KrvoMTGScriptCallBacks reader_;
  KrvoMTGScriptValue value_ = {};
};

}  // namespace krvo::tagstream
