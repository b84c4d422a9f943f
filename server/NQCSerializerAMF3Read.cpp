// Reading AMF3: markers, references, and values without members.

#include <string>

#include "server/NQCSerializer.h"
#include "server/serializerContexts.h"

namespace {

constexpr auto numberOf(Amf3Marker marker) {
  return static_cast<std::uint8_t>(marker);
}

/// How the parse log calls a reference after this marker; the texts are fixed.
std::string tableOf(Amf3Marker marker) {
  switch (marker) {
    case Amf3Marker::kArray:
      return "While serializing the array atom, the object index ";
    case Amf3Marker::kDate:
      return "While serializing the date atom, the object index ";
    case Amf3Marker::kXmlDocument:
    case Amf3Marker::kXml:
      return "While serializing the XML atom, the object index ";
    case Amf3Marker::kByteArray:
      return "While serializing the byte array atom, the object index ";
    default:
      return "While reading the object from reference table, the object index ";
  }
}

}  // namespace

void NQCSerializer::readAMF3(NQDataValue& value) {
  inContext(context::kAmf3Value, [&] {
    const Amf3Marker marker{readByte()};
    takeValue();
    if (!errorFlag()) readAMF3Body(marker, value);
  });
}

void NQCSerializer::readAMF3Body(Amf3Marker marker, NQDataValue& value) {
  switch (marker) {
    case Amf3Marker::kUndefined:
      break;
    case Amf3Marker::kNull:
      value = NQDataValue::null();
      return;
    case Amf3Marker::kFalse:
      value = NQDataValue::boolean(false);
      return;
    case Amf3Marker::kTrue:
      value = NQDataValue::boolean(true);
      return;
    case Amf3Marker::kInteger:
      return inContext(context::kAmf3Integer, [&] { readAMF3Integer(value); });
    case Amf3Marker::kDouble:
      return inContext(context::kAmf3Double, [&] { readAMF3Double(value); });
    case Amf3Marker::kString:
      return inContext(context::kAmf3String, [&] { value = NQDataValue::string(readAMF3String()); });
    case Amf3Marker::kXmlDocument:
    case Amf3Marker::kXml:
      return inContext(context::kAmf3Xml, [&] { readAMF3Xml(marker, value); });
    case Amf3Marker::kDate:
      return inContext(context::kAmf3Date, [&] { readAMF3Date(value); });
    case Amf3Marker::kArray:
      return inContext(context::kAmf3Array, [&] { readAMF3Array(value); });
    case Amf3Marker::kObject:
      return inContext(context::kAmf3Object, [&] { readAMF3Object(value); });
    case Amf3Marker::kByteArray:
      return inContext(context::kAmf3Bytes, [&] { readAMF3Bytes(value); });
    case Amf3Marker::kVectorInt:
    case Amf3Marker::kVectorUint:
    case Amf3Marker::kVectorDouble:
    case Amf3Marker::kVectorObject:
      return inContext(context::kAmf3Vector, [&] { readVector(marker, value); });
    case Amf3Marker::kDictionary:
      return inContext(context::kAmf3Dictionary, [&] { readDictionary(value); });
  }
  // Undefined, and any marker above the last: AMF3 reports none of these as an error, unlike AMF0.
  value.clear();
}

std::optional<std::uint32_t> NQCSerializer::readAMF3Head(Amf3Marker marker, NQDataValue& value) {
  const std::uint32_t head = readU29();
  if (errorFlag()) return std::nullopt;
  if ((head & 1) != 0) return head >> 1;
  readAMF3Reference(head >> 1, marker, value);
  return std::nullopt;
}

void NQCSerializer::readAMF3Reference(std::uint32_t index, Amf3Marker marker, NQDataValue& value) {
  const auto* const entry = objectTable_.at(index);
  if (entry == nullptr)
    return reportError(position(), tableOf(marker) + std::to_string(index) + " is found greater than refTable size " +
                                       std::to_string(objectTable_.nextObjectIndex()));
  // A value of another kind than announced would be taken for an array, or have none: such a reference has no effect.
  if (entry->objectKind != marker) return;
  switch (marker) {
    case Amf3Marker::kDate:
    case Amf3Marker::kXmlDocument:
    case Amf3Marker::kXml:
    case Amf3Marker::kByteArray:
      value = entry->value;
      return;
    case Amf3Marker::kArray:
      value = referenceTo(*entry, NQDataKind::kArrayType);
      return;
    default:
      value = referenceTo(*entry, NQDataKind::kAvmPlusObjectType);
      value.setSubKind(numberOf(marker));
  }
}

void NQCSerializer::enterLeaf(Amf3Marker marker, const NQDataValue& value) {
  if (takeMemory(sizeof(ObjectTable::Entry))) objectTable_.enter(value, marker);
}

void NQCSerializer::readAMF3Integer(NQDataValue& value) {
  constexpr std::uint32_t kSign = 0x10000000;
  // Two's complement of 29 bits: the highest bit counts negative.
  const std::uint32_t bits = readU29();
  value = NQDataValue::number(static_cast<double>(bits & (kSign - 1)) - static_cast<double>(bits & kSign));
  value.setSubKind(numberOf(Amf3Marker::kInteger));
}

void NQCSerializer::readAMF3Double(NQDataValue& value) {
  value = NQDataValue::number(readDouble());
  value.setSubKind(numberOf(Amf3Marker::kDouble));
}

void NQCSerializer::readAMF3Xml(Amf3Marker marker, NQDataValue& value) {
  const auto length = readAMF3Head(marker, value);
  if (!length) return;
  if (*length > remaining())
    return reportError(position(), "While reading the XML string, length " + std::to_string(*length) +
                                       " of string is found greater than remaining bytes");
  value = NQDataValue::xml(readString(*length));
  value.setSubKind(numberOf(marker));
  enterLeaf(marker, value);
}

void NQCSerializer::readAMF3Date(NQDataValue& value) {
  // The bits above the low one have no meaning for a date.
  if (!readAMF3Head(Amf3Marker::kDate, value)) return;
  value = NQDataValue::date(readDouble());
  enterLeaf(Amf3Marker::kDate, value);
}

void NQCSerializer::readAMF3Bytes(NQDataValue& value) {
  const auto length = readAMF3Head(Amf3Marker::kByteArray, value);
  if (!length) return;
  if (*length > remaining())
    return reportError(position(),
                       "while serializing the byte array atom,length of data is found greater than remaining bytes\n");
  const auto memory = readBytes(*length);
  if (!memory) return;
  value = NQDataValue::blob(memory, 0, *length);
  value.setSubKind(numberOf(Amf3Marker::kByteArray));
  // Entered complete, as nothing inside can refer to it. So with XML and dates.
  enterLeaf(Amf3Marker::kByteArray, value);
}
