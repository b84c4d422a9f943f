#include "wrappers/mtg/ScriptData.h"

#include <cstdint>

#include "wrappers/mtg/Exception.h"

namespace mtg {

ScriptData::ScriptData(KrvoMTGScriptData* handle) : handle_(handle, &KrvoMTGReleaseScriptData) {}

std::string_view ScriptData::name() const {
  const char* name = nullptr;
  std::uint32_t length = 0;
  check(KrvoMTGScriptDataGetName(handle_.get(), &name, &length));
  // Not by the terminator: a name may contain zero bytes.
  return {name, length};
}

double ScriptData::number() const {
  double number = 0;
  check(KrvoMTGScriptDataGetNumber(handle_.get(), &number));
  return number;
}

ScriptDataIterator ScriptData::members() const {
  KrvoMTGScriptDataIterator* iterator = nullptr;
  check(KrvoMTGScriptDataGetIterator(handle_.get(), &iterator));
  return ScriptDataIterator(iterator);
}

ScriptDataIterator::ScriptDataIterator(KrvoMTGScriptDataIterator* handle)
    : handle_(handle, &KrvoMTGReleaseScriptDataIterator) {}

std::optional<ScriptData> ScriptDataIterator::next() const {
  KrvoMTGScriptData* next = nullptr;
  check(KrvoMTGScriptDataIteratorGetNext(handle_.get(), &next));
  // The library reports the end by a null handle, not by a status.
  return next == nullptr ? std::nullopt : std::optional<ScriptData>(next);
}

}  // namespace mtg
