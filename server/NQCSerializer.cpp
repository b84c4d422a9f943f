#include "server/NQCSerializer.h"

#include <string>

#include "server/serializerContexts.h"

namespace {

constexpr auto kEnd = static_cast<std::uint8_t>(NQDataKind::kObjectEndType);

}  // namespace

std::uint8_t NQCSerializer::readValue(NQDataValue& value, NQTextPtr* name) {
  return inContext(context::kValue, [&] {
    if (name != nullptr) *name = readString16();
    const std::uint8_t marker = errorFlag() ? kEnd : readByte();
    if (!errorFlag()) readBody(NQDataKind{marker}, value);
    return errorFlag() ? kEnd : marker;
  });
}

void NQCSerializer::writeValue(const NQDataValue& value, const NQTextPtr* name) {
  inContext(context::kValue, [&] {
    if (name != nullptr) writeString16(stringOf(name->get()).view());
    writeBody(value);
  });
}

void NQCSerializer::clearTables() {
  clearStrings();
  objectTable_.clear();
  classTable_.clear();
}

void NQCSerializer::refuseNesting() {
  reportError(position(),
              "Nesting of values is found deeper than " + std::to_string(NQDataArray::kMaxNesting) + " levels");
}
