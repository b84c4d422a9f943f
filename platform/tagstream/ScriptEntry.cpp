#include "platform/tagstream/ScriptEntry.h"

#include "platform/tagstream/status.h"

namespace krvo::tagstream {
namespace {

bool isComplete(const KrvoMTGScriptCallBacks& reader) {
  return reader.size == sizeof(reader) && reader.read != nullptr && reader.member != nullptr &&
         reader.release != nullptr;
}

}  // namespace

std::shared_ptr<const ScriptEntry> ScriptEntry::read(const KrvoMTGScriptCallBacks& reader,
                                                     std::span<const std::byte> data) {
  require(isComplete(reader));
  // The entry is made before the value, so that the value has an owner as soon as it exists, whatever throws.
  const auto entry = std::make_shared<ScriptEntry>(reader);
  check(reader.read(reader.context, data.data(), static_cast<std::uint32_t>(data.size()), &entry->value_));
  return entry;
}

ScriptEntry::~ScriptEntry() {
  if (value_.handle != nullptr) reader_.release(reader_.context, value_.handle);
}

std::optional<double> ScriptEntry::number() const {
  return value_.isNumber != 0 ? std::optional(value_.number) : std::nullopt;
}

std::shared_ptr<const ScriptEntry> ScriptEntry::member(std::uint32_t index) const {
  auto entry = std::make_shared<ScriptEntry>(reader_);
  check(reader_.member(reader_.context, value_.handle, index, &entry->value_));
  // At the end the reader leaves the value as it was, so the null handle is the sign of it.
  return entry->value_.handle != nullptr ? entry : nullptr;
}

}  // namespace krvo::tagstream
