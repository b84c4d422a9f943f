#include "server/NQCSerializer.h"

#include <string>
#include <utility>

#include "server/serializerContexts.h"

namespace {

constexpr auto kEnd = static_cast<std::uint8_t>(NQDataKind::kObjectEndType);

}  // namespace

std::uint8_t NQCSerializer::readValue(NQDataValue& value, NQTextPtr* name) {
  return inContext(context::kValue, [&] {
    if (name != nullptr) *name = readName16();
    const std::uint8_t marker = errorFlag() ? kEnd : readByte();
    // Before the value is made: a byte of payload can become a value of 24 bytes or an object of more than a hundred.
    if (marker != kEnd) takeValue();
    if (!errorFlag()) readBody(NQDataKind{marker}, value);
    // The end marker on an error ends the loops over members, whichever of them is reading.
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

NQDataArrayPtr NQCSerializer::newArray(std::size_t room) {
  // With the entry in the table, which is made when the array is entered and would otherwise escape the bound.
  if (!takeMemory(NQDataArray::costOf(room) + sizeof(ObjectTable::Entry))) return {};
  return NQDataArrayPtr::make(room);
}

void NQCSerializer::append(NQDataArray& array, NQTextPtr name, NQDataValue value) {
  if (takeMemory(array.costOfNext(false))) array.append(std::move(name), std::move(value));
}

void NQCSerializer::appendElement(NQDataArray& array, NQDataValue value) {
  if (takeMemory(array.costOfNext(true))) array.appendElement(std::move(value));
}

void NQCSerializer::refuseNesting() {
  reportError(position(),
              "Nesting of values is found deeper than " + std::to_string(NQDataArray::kMaxNesting) + " levels");
}
