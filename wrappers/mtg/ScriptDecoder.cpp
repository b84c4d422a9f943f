#include "wrappers/mtg/ScriptDecoder.h"

#include <cstdint>

#include "platform/tagstream/krvo_mtg.h"
#include "util/narrow.h"
#include "wrappers/mtg/statusOf.h"

namespace mtg {
namespace {

/// Hands a value over to the library, which releases it by takeBack().
void handOver(std::unique_ptr<ScriptValue> value, KrvoMTGScriptValue& out) {
  const std::string_view name = value->name();
  const std::optional<double> number = value->number();
  out = {.handle = nullptr,
         .name = name.data(),
         .nameLength = qvs::util::narrow<std::uint32_t>(name.size()),
         .isNumber = number ? 1U : 0U,
         .number = number.value_or(0)};
  // Last, after all that may throw: until then the value is ours to delete.
  out.handle = value.release();
}

/// Takes back a value that handOver() gave to the library.
void takeBack(void*, void* handle) {
  const std::unique_ptr<ScriptValue> owner(static_cast<ScriptValue*>(handle));
}

}  // namespace

void ScriptDecoder::fill(KrvoMTGScriptCallBacks& table) {
  table.size = sizeof(table);
  table.context = this;
  table.read = [](void* context, const void* data, std::uint32_t length, KrvoMTGScriptValue* value) {
    return statusOf([=] {
      handOver(static_cast<ScriptDecoder*>(context)->read({static_cast<const std::byte*>(data), length}), *value);
    });
  };
  table.member = [](void*, void* handle, std::uint32_t index, KrvoMTGScriptValue* value) {
    return statusOf([=] {
      // No member leaves the handle of `*value` null, which is the end for the library.
      if (auto member = static_cast<ScriptValue*>(handle)->member(index)) handOver(std::move(member), *value);
    });
  };
  table.release = &takeBack;
}

}  // namespace mtg
