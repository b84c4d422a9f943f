// Writing AMF0.

#include <string>

#include "server/NQCSerializer.h"
#include "server/objectClass.h"
#include "server/serializerContexts.h"
#include "util/narrow.h"

namespace {

constexpr std::uint8_t kAMF3Encoding = 3;

// Objects stay AMF0 with encoding 3 as well; the kinds that switch to AMF3 are fixed.
bool isAMF3(const NQDataValue& value, std::uint8_t encoding) {
  switch (value.kind()) {
    case NQDataKind::kAvmPlusObjectType:
      return true;
    case NQDataKind::kArrayType:
    case NQDataKind::kStrictArrayType:
    case NQDataKind::kDateType:
    case NQDataKind::kBlobType:
    case NQDataKind::kXMLType:
      return encoding == kAMF3Encoding;
    default:
      return false;
  }
}

}  // namespace

void NQCSerializer::writeBody(const NQDataValue& value) {
  if (isAMF3(value, encoding())) {
    writeMarker(NQDataKind::kAvmPlusObjectType);
    return writeAMF3(value);
  }
  switch (value.kind()) {
    case NQDataKind::kNumberType:
    case NQDataKind::kInt64Type:
      // The marker of 64-bit integers (34) is an addition that other readers refuse: it is read, never written.
      writeMarker(NQDataKind::kNumberType);
      return writeDouble(value.toDouble());
    case NQDataKind::kBoolType:
      writeMarker(NQDataKind::kBoolType);
      return writeByte(value.isTrue() ? 1 : 0);
    case NQDataKind::kStringType:
      return inContext(context::kString, [&] { writeString(value.toString().view()); });
    case NQDataKind::kNullType:
    case NQDataKind::kUndefinedType:
      return writeMarker(value.kind());
    case NQDataKind::kObjectType:
    case NQDataKind::kTypedObjectType:
      return inContext(context::kObject, [&] { writeContainer(value); });
    case NQDataKind::kArrayType:
      return inContext(context::kArray, [&] { writeContainer(value); });
    case NQDataKind::kStrictArrayType:
      return inContext(context::kStrictArray, [&] { writeContainer(value); });
    case NQDataKind::kDateType:
      return writeDate(value);
    case NQDataKind::kBlobType:
      return writeBlob(value);
    case NQDataKind::kXMLType:
      writeMarker(NQDataKind::kXMLType);
      return writeString32(value.toString().view());
    default:
      return writeMarker(NQDataKind::kUnsupportedType);
  }
}

void NQCSerializer::writeString(std::string_view text) {
  // The marker follows the length: a value that was read as a long string is written as a short one if it fits.
  if (std::in_range<std::uint16_t>(text.size())) {
    writeMarker(NQDataKind::kStringType);
    writeString16(text);
  } else {
    writeMarker(NQDataKind::kLongStringType);
    writeString32(text);
  }
}

void NQCSerializer::writeDate(const NQDataValue& value) {
  writeMarker(NQDataKind::kDateType);
  writeDouble(value.milliseconds());
  writeInt16(static_cast<std::uint16_t>(value.zone()));
}

void NQCSerializer::writeBlob(const NQDataValue& value) {
  writeMarker(NQDataKind::kBlobType);
  writeInt32(qvs::util::narrow<std::uint32_t>(value.blob().size()));
  writeBytes(value.blob());
}

void NQCSerializer::writeContainer(const NQDataValue& value) {
  // Any entry of the same array: an AMF0 reference does not name a kind.
  if (const auto known = objectTable_.find(value.array(), std::nullopt)) return writeReference(*known);
  writeMarker(value.kind());
  within(value.array(), ObjectTable::kAMF0, [&] { writeMembers(value.kind(), *value.array()); });
}

void NQCSerializer::writeReference(std::uint32_t index) {
  inContext(context::kReference, [&] {
    if (!std::in_range<std::uint16_t>(index))
      reportError(position(), "Object index " + std::to_string(index) + " is found greater than 65535");
    writeMarker(NQDataKind::kReferenceType);
    writeInt16(static_cast<std::uint16_t>(index));
  });
}

void NQCSerializer::writeMembers(NQDataKind kind, const NQDataArray& array) {
  switch (kind) {
    case NQDataKind::kStrictArrayType:
      writeInt32(qvs::util::narrow<std::uint32_t>(array.size()));
      for (std::size_t i = 0; i < array.size(); ++i) writeValue(array.value(i));
      return;
    case NQDataKind::kTypedObjectType: {
      const auto name = classNameOf(array);
      // A typed object without a class name still has to have one on the wire.
      writeString16(name ? stringOf(name->get()).view() : "Object");
      return writeNamed(array, name ? 1 : 0);
    }
    case NQDataKind::kArrayType:
      // 0 and not the number of members: a hint that readers ignore, and fixed.
      writeInt32(0);
      [[fallthrough]];
    default:
      return writeNamed(array, 0);
  }
}

void NQCSerializer::writeNamed(const NQDataArray& array, std::size_t first) {
  for (std::size_t i = first; i < array.size(); ++i) {
    const NQTextPtr name = array.nameText(i);
    writeValue(array.value(i), &name);
  }
  writeString16({});
  writeMarker(NQDataKind::kObjectEndType);
}
