#include "wrappers/mtg/ScriptDecoder.h"

#include <cstdint>

#include "platform/tagstream/krvo_mtg.h"
#include "util/narrow.h"
#include "wrappers/mtg/answer.h"

namespace mtg {
namespace {

/// Hands a value over to the library.
void give(std::unique_ptr<ScriptValue> value, KrvoMTGScriptValue& out) {
  const std::string_view name = value->name();
  const std::optional<double> number = value->number();
  out = {.handle = nullptr,
         .name = name.data(),
         .nameLength = qvs::util::narrow<std::uint32_t>(name.size()),
         .isNumber = number ? 1U : 0U,
         .number = number.value_or(0)};
  out.handle = value.release();
}

/// Takes back what give() handed over.
void take(void*, void* handle) {
  const std::unique_ptr<ScriptValue> ended(static_cast<ScriptValue*>(handle));
}

}  // namespace

void ScriptDecoder::fill(KrvoMTGScriptCallBacks& table) {
  table.size = sizeof(table);
  table.context = this;
  table.read = [](void* context, const void* data, std::uint32_t length, KrvoMTGScriptValue* value) {
    return answer([=] {
      give(static_cast<ScriptDecoder*>(context)->read({static_cast<const std::byte*>(data), length}), *value);
    });
  };
  table.member = [](void*, void* handle, std::uint32_t index, KrvoMTGScriptValue* value) {
    return answer([=] {
      if (auto member = static_cast<ScriptValue*>(handle)->member(index)) give(std::move(member), *value);
    });
  };
  table.release = &take;
}

}  // namespace mtg
