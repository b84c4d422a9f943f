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
  explicit ScriptData(KrvoMTGScriptData* handle);

  /// A view that lives as long as a copy of this.
  std::string_view name() const;
  /// Throws Exception with 7 if the value is no number.
  double number() const;
  /// Of an object or a named array; another value has none.
  ScriptDataIterator members() const;

 private:
  std::shared_ptr<KrvoMTGScriptData> handle_;
};

class ScriptDataIterator {
 public:
  explicit ScriptDataIterator(KrvoMTGScriptDataIterator* handle);
  /// Nothing behind the last one.
  std::optional<ScriptData> next() const;

 private:
  std::shared_ptr<KrvoMTGScriptDataIterator> handle_;
};

}  // namespace mtg
