// Reading AMF0.

#include <utility>

#include "server/NQCSerializer.h"
#include "server/memberNames.h"
#include "server/serializerContexts.h"

void NQCSerializer::readBody(NQDataKind marker, NQDataValue& value) {
  switch (marker) {
    case NQDataKind::kNumberType:
      return inContext(context::kNumber, [&] { value = NQDataValue::number(readDouble()); });
    case NQDataKind::kBoolType:
      return inContext(context::kBoolean, [&] { value = NQDataValue::boolean(readByte() == 1); });
    case NQDataKind::kStringType:
    case NQDataKind::kMovieClipType:
      return inContext(context::kString, [&] { value = NQDataValue::string(readString16()); });
    case NQDataKind::kObjectType:
      return inContext(context::kObject, [&] { readObject(value); });
    case NQDataKind::kNullType:
      value = NQDataValue::null();
      return;
    case NQDataKind::kUndefinedType:
    case NQDataKind::kUnsupportedType:
      return value.clear();
    case NQDataKind::kReferenceType:
      return inContext(context::kReference, [&] { readReference(value); });
    case NQDataKind::kArrayType:
      return inContext(context::kArray, [&] { readArray(value); });
    case NQDataKind::kObjectEndType:
      value = NQDataValue::bare(marker);
      return;
    case NQDataKind::kStrictArrayType:
      return inContext(context::kStrictArray, [&] { readStrictArray(value); });
    case NQDataKind::kDateType:
      return inContext(context::kDate, [&] { readDate(value); });
    case NQDataKind::kLongStringType:
      return inContext(context::kString, [&] { value = NQDataValue::string(readString32()); });
    case NQDataKind::kXMLType:
      return inContext(context::kXml, [&] { value = NQDataValue::xml(readString32()); });
    case NQDataKind::kTypedObjectType:
      return inContext(context::kObject, [&] { readTypedObject(value); });
    case NQDataKind::kAvmPlusObjectType:
      return readAMF3(value);
    case NQDataKind::kBlobType:
      return inContext(context::kBlob, [&] { readBlob(value); });
    case NQDataKind::kInt64Type:
      return inContext(context::kInt64, [&] { value = NQDataValue::int64(readInt64()); });
  }
  // Thrown in either mode and without a log line: nothing after an unknown marker can be read.
  throw NQBreakConnection(NQBreakConnection::kBadScriptData);
}

void NQCSerializer::readReference(NQDataValue& value) {
  const std::uint16_t index = readInt16();
  if (errorFlag()) return;
  // An index beyond the table is no error: the value stays as it was, undefined in most cases.
  if (const auto* const entry = objectTable_.at(index)) value = referenceTo(*entry, NQDataKind::kArrayType);
}

void NQCSerializer::readObject(NQDataValue& value) {
  const auto array = newArray();
  if (!array) return;
  // The caller's value gets the array before the members are read: after a fault it has those before the fault.
  value = NQDataValue::container(NQDataKind::kObjectType, array);
  within(array, ObjectTable::kAMF0, [&] { readMembers(*array); });
}

void NQCSerializer::readTypedObject(NQDataValue& value) {
  const auto array = newArray();
  if (!array) return;
  value = NQDataValue::container(NQDataKind::kTypedObjectType, array);
  within(array, ObjectTable::kAMF0, [&] {
    // The class name becomes the first member, where classNameOf() looks for it.
    append(*array, memberNames().constructor, NQDataValue::string(readName16()));
    if (!errorFlag()) readMembers(*array);
  });
}

void NQCSerializer::readArray(NQDataValue& value) {
  const auto array = newArray();
  if (!array) return;
  value = NQDataValue::container(NQDataKind::kArrayType, array);
  // The count is only a hint, and many encoders write 0: the end marker decides.
  readInt32();
  if (!errorFlag()) within(array, ObjectTable::kAMF0, [&] { readMembers(*array); });
}

void NQCSerializer::readMembers(NQDataArray& array) {
  for (;;) {
    NQTextPtr name;
    NQDataValue value;
    if (NQDataKind{readValue(value, &name)} == NQDataKind::kObjectEndType) return;
    append(array, std::move(name), std::move(value));
  }
}

void NQCSerializer::readStrictArray(NQDataValue& value) {
  const std::uint32_t count = readInt32();
  if (errorFlag()) return;
  // An element has one byte at least; compared before room for the elements is made.
  if (count > remaining())
    return reportError(position(),
                       "while serializing the array length,length of array is found longer than remaining bytes");
  const auto array = newArray(count);
  if (!array) return;
  // An ordinary array from here on: only values that are built to be written are strict arrays.
  value = NQDataValue::container(NQDataKind::kArrayType, array);
  within(array, ObjectTable::kAMF0, [&] {
    for (std::uint32_t i = 0; i < count; ++i) {
      NQDataValue element;
      readValue(element);
      if (errorFlag()) return;
      appendElement(*array, std::move(element));
    }
  });
}

void NQCSerializer::readDate(NQDataValue& value) {
  const double milliseconds = readDouble();
  if (!errorFlag()) value = NQDataValue::date(milliseconds, static_cast<std::int16_t>(readInt16()));
}

void NQCSerializer::readBlob(NQDataValue& value) {
  const std::uint32_t length = readInt32();
  if (errorFlag()) return;
  if (const auto memory = readBytes(length)) value = NQDataValue::blob(memory, 0, length);
}
