#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

struct KrvoMTGScriptCallBacks;

namespace mtg {

/// A named value of script data, as a decoder has read it. The library holds it and asks it.
class ScriptValue {
 public:
  virtual ~ScriptValue() = default;
  /// A view that lives as long as this.
  virtual std::string_view name() const = 0;
  /// Nothing if the value is no number.
  virtual std::optional<double> number() const = 0;
  /// Of an object or a named array; may outlive this. Null behind the last one, and of another value.
  virtual std::unique_ptr<ScriptValue> member(std::size_t index) const = 0;
};

/// Reads script data for the tag-stream library, which leaves that to its caller.
class ScriptDecoder {
 public:
  virtual ~ScriptDecoder() = default;
  /// The library's view of this decoder, which outlives it and every value. What an operation throws becomes a status,
  /// as at InputStream.
  void fill(KrvoMTGScriptCallBacks& table);
  /// The data of a tag: the name that they begin with, empty if that is no text, and the value behind it. Never null.
  /// What is malformed ends the members; those in front of it are there.
  virtual std::unique_ptr<ScriptValue> read(std::span<const std::byte> data) = 0;
};

}  // namespace mtg
