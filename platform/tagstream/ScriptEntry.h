#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "platform/tagstream/krvo_mtg.h"

namespace krvo::tagstream {

/// A named value that the caller's reader of script data has made. Its destructor releases the value through that
/// reader, whose context must outlive it. Immutable; belongs to the thread of its tag.
class ScriptEntry {
 public:
  /// Has `reader` read the data of a tag, which are needed during the call only. Throws StatusError: the reader's own
  /// status, or kKrvoMTGBadArgument if a callback is missing.
  static std::shared_ptr<const ScriptEntry> read(const KrvoMTGScriptCallBacks& reader, std::span<const std::byte> data);

  /// Without a value yet. Public for std::make_shared alone; use read() and member().
  explicit ScriptEntry(const KrvoMTGScriptCallBacks& reader) : reader_(reader) {}
  ~ScriptEntry();
  ScriptEntry(const ScriptEntry&) = delete;
  ScriptEntry& operator=(const ScriptEntry&) = delete;

  /// A view that is valid as long as this object. Any bytes: names are not checked to be text.
  std::string_view name() const { return {value_.name, value_.nameLength}; }
  /// Nothing if the value is not a number.
  std::optional<double> number() const;
  /// Returns the member with that index of an object or a named array, or null after the last one. Members are made one
  /// at a time, so that an array of millions takes no memory here. Throws StatusError.
  std::shared_ptr<const ScriptEntry> member(std::uint32_t index) const;

 private:
  KrvoMTGScriptCallBacks reader_;
  /// With a null handle until the reader has made the value.
  KrvoMTGScriptValue value_ = {};
};

}  // namespace krvo::tagstream
