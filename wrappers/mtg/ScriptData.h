#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "platform/tagstream/krvo_mtg.h"

namespace mtg {

class ScriptDataIterator;

/// A named value in the script data of a tag. A counted handle like those of Reader.h.
class ScriptData {
 public:
  /// Takes over the reference that the library gave out.
  explicit ScriptData(KrvoMTGScriptData* handle);

  /// A view, valid as long as a copy of this handle.
  std::string_view name() const;
  /// Throws Exception with 7 if the value is no number.
  double number() const;
  /// The members of an object or a named array; of any other value none. They are made one at a time by the decoder, so
  /// that data with a million members does not take the memory of them all.
  ScriptDataIterator members() const;

 private:
  std::shared_ptr<KrvoMTGScriptData> handle_;
};

/// The members of a value, in the order of the data.
class ScriptDataIterator {
 public:
  /// Takes over the reference that the library gave out.
  explicit ScriptDataIterator(KrvoMTGScriptDataIterator* handle);
  /// The next member; nothing after the last one.
  std::optional<ScriptData> next() const;

 private:
  std::shared_ptr<KrvoMTGScriptDataIterator> handle_;
};

}  // namespace mtg
