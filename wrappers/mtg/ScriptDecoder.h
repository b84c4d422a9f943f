#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

struct KrvoMTGScriptCallBacks;

namespace mtg {

/// A named value of script data that a decoder has read. The library owns it and calls its operations. Members are made
/// when they are asked for, one at a time: copies of all of them could need far more memory than the data.
class ScriptValue {
 public:
  virtual ~ScriptValue() = default;
  /// A view, valid as long as this object.
  virtual std::string_view name() const = 0;
  /// The number; nothing if the value is none.
  virtual std::optional<double> number() const = 0;
  /// A member of an object or a named array, which may outlive this object; null after the last one, and for any other
  /// value.
  virtual std::unique_ptr<ScriptValue> member(std::size_t index) const = 0;
};

/// Reads script data for the tag-stream library, which has no such reader: it may not include the one of the
/// message layer, and a second reader would disagree with it.
class ScriptDecoder {
 public:
  virtual ~ScriptDecoder() = default;
  /// Fills the library's callback record for this decoder, which outlives every value. An exception of an operation
  /// becomes a status, as with InputStream::fill.
  void fill(KrvoMTGScriptCallBacks& table);
  /// Reads the data of a tag: a name, empty if the first value is no text, and the value after it. Never null.
  /// Malformed data end the members; those before the fault are there. `data` is valid during the call only.
  virtual std::unique_ptr<ScriptValue> read(std::span<const std::byte> data) = 0;
};

}  // namespace mtg
