// Writing AMF3.

#include <cmath>
#include <string>

#include "server/NQCSerializer.h"
#include "server/objectClass.h"
#include "server/serializerContexts.h"
#include "util/bytes.h"

namespace {

/// Counts below this fit a U29 of 29 bits, whose lowest bit says that no reference follows.
constexpr std::size_t kCountLimit = 1U << 28;
/// The U29 of an object with its class inline: dynamic, without sealed members.
constexpr std::uint32_t kDynamicClassHead = 0x0B;
/// The same with sealed members only, whose count is added above the low four bits.
constexpr std::uint32_t kSealedClassHead = 0x03;
/// Sealed members of a class are fewer than this, since their count has the 25 bits above the low four.
constexpr std::size_t kSealedLimit = 1U << 25;

/// Whether a number can be written as an integer of 29 bits without a change. One that was read as a double stays a
/// double, and so does -0, which no integer is. The range is checked before trunc(), so infinities and not-a-number
/// fail here.
bool isInteger(const NQDataValue& value) {
  const double number = value.toDouble();
  return value.subKind() != static_cast<std::uint8_t>(Amf3Marker::kDouble) && number >= -0x10000000 &&
         number < 0x10000000 && number == std::trunc(number) && !(number == 0 && std::signbit(number));
}

Amf3Marker objectMarkerOf(const NQDataValue& value) {
  const Amf3Marker marker{value.subKind()};
  return marker >= Amf3Marker::kVectorInt && marker <= Amf3Marker::kDictionary ? marker : Amf3Marker::kObject;
}

Amf3Marker xmlMarkerOf(const NQDataValue& value) {
  return Amf3Marker{value.subKind()} == Amf3Marker::kXml ? Amf3Marker::kXml : Amf3Marker::kXmlDocument;
}

/// How many elements from the front have their own index as name. All of a strict array count, whatever their names.
std::size_t denseCount(const NQDataValue& value) {
  const NQDataArray& array = *value.array();
  if (value.kind() == NQDataKind::kStrictArrayType) return array.size();
  std::size_t count = 0;
  while (count < array.size() && array.isNamedByIndex(count)) ++count;
  return count;
}

bool hasNamelessMember(const NQDataArray& array, std::size_t first) {
  for (std::size_t i = first; i < array.size(); ++i)
    if (array.name(i).empty()) return true;
  return false;
}

/// Number of elements from `first` on. Vectors built by other code may be shorter than their head.
std::size_t lengthFrom(const NQDataArray& array, std::size_t first) {
  return array.size() > first ? array.size() - first : 0;
}

/// The flag byte of a vector or dictionary, from a boolean or from any number.
std::uint8_t flagOf(const NQDataValue& value) {
  return value.toDouble() != 0 ? 1 : 0;
}

}  // namespace

void NQCSerializer::writeAMF3(const NQDataValue& value) {
  inContext(context::kAmf3Value, [&] { writeAMF3Body(value); });
}

void NQCSerializer::writeAMF3Body(const NQDataValue& value) {
  switch (value.kind()) {
    case NQDataKind::kNumberType:
      return writeAMF3Number(value);
    case NQDataKind::kBoolType:
      return writeMarker(value.isTrue() ? Amf3Marker::kTrue : Amf3Marker::kFalse);
    case NQDataKind::kStringType:
      writeMarker(Amf3Marker::kString);
      return inContext(context::kAmf3String, [&] { writeAMF3String(value.text()); });
    case NQDataKind::kObjectType:
    case NQDataKind::kTypedObjectType:
    case NQDataKind::kAvmPlusObjectType:
      return writeAMF3Container(value, objectMarkerOf(value));
    case NQDataKind::kNullType:
      return writeMarker(Amf3Marker::kNull);
    case NQDataKind::kArrayType:
    case NQDataKind::kStrictArrayType:
      return writeAMF3Container(value, Amf3Marker::kArray);
    case NQDataKind::kDateType:
      return inContext(context::kAmf3Date, [&] { writeAMF3Date(value); });
    case NQDataKind::kXMLType:
      return inContext(context::kAmf3Xml, [&] { writeAMF3Xml(value); });
    case NQDataKind::kBlobType:
      return inContext(context::kAmf3Bytes, [&] { writeAMF3Bytes(value); });
    default:
      return writeMarker(Amf3Marker::kUndefined);
  }
}

void NQCSerializer::writeAMF3Head(std::size_t count) {
  if (count >= kCountLimit)
    reportError(position(), "Count or index " + std::to_string(count) + " is found greater than 29 bits hold");
  writeU29(static_cast<std::uint32_t>(count) << 1 | 1);
}

void NQCSerializer::writeAMF3Number(const NQDataValue& value) {
  constexpr std::uint32_t kLow29Bits = 0x1FFFFFFF;
  if (isInteger(value)) {
    writeMarker(Amf3Marker::kInteger);
    writeU29(static_cast<std::uint32_t>(value.toInt64()) & kLow29Bits);
  } else {
    writeMarker(Amf3Marker::kDouble);
    writeDouble(value.toDouble());
  }
}

void NQCSerializer::writeAMF3Date(const NQDataValue& value) {
  writeMarker(Amf3Marker::kDate);
  writeAMF3Head(0);
  writeDouble(value.milliseconds());
  // Written in full each time, but entered: readers number it, and later indexes have to agree.
  objectTable_.enter({}, Amf3Marker::kDate);
}

void NQCSerializer::writeAMF3Xml(const NQDataValue& value) {
  const std::string_view text = value.toString().view();
  const Amf3Marker marker = xmlMarkerOf(value);
  writeMarker(marker);
  writeAMF3Head(text.size());
  writeBytes(qvs::util::asBytes(text));
  objectTable_.enter({}, marker);
}

void NQCSerializer::writeAMF3Bytes(const NQDataValue& value) {
  writeMarker(Amf3Marker::kByteArray);
  writeAMF3Head(value.blob().size());
  writeBytes(value.blob());
  objectTable_.enter({}, Amf3Marker::kByteArray);
}

void NQCSerializer::writeAMF3Container(const NQDataValue& value, Amf3Marker marker) {
  writeMarker(marker);
  const NQDataArrayPtr array = value.array();
  // By identity and marker: an array that was written in another form is written anew, as a reader ignores a reference
  // to an entry of another marker.
  if (const auto known = objectTable_.find(array.get(), marker)) return writeU29(*known << 1);
  within(array, marker, [&] {
    switch (marker) {
      case Amf3Marker::kArray:
        return inContext(context::kAmf3Array, [&] { writeAMF3Array(*array, denseCount(value)); });
      case Amf3Marker::kObject:
        return inContext(context::kAmf3Object, [&] { writeAMF3Object(*array); });
      case Amf3Marker::kDictionary:
        return inContext(context::kAmf3Dictionary, [&] { writeDictionary(*array); });
      default:
        return inContext(context::kAmf3Vector, [&] { writeVector(marker, *array); });
    }
  });
}

void NQCSerializer::writeAMF3Array(const NQDataArray& array, std::size_t dense) {
  // An empty name would end the list of named members, and the rest would be read as elements.
  if (hasNamelessMember(array, dense))
    reportError(position(), "while serializing the array atom,a member without a name is found");
  writeAMF3Head(dense);
  writeDynamic(array, dense);
  for (std::size_t i = 0; i < dense; ++i) writeAMF3(array.value(i));
}

// Anonymous objects are written as dynamic ones, as other encoders do. An object with a class name is written with all
// of its members sealed. So is an anonymous object with a nameless member, at which a list of dynamic members would
// end.
void NQCSerializer::writeAMF3Object(const NQDataArray& array) {
  const auto name = classNameOf(array);
  const std::size_t first = name ? 1 : 0;
  if (!name.value_or(nullptr) && !hasNamelessMember(array, first)) {
    writeU29(kDynamicClassHead);
    writeName({});
    return writeDynamic(array, first);
  }
  const std::size_t count = array.size() - first;
  if (count >= kSealedLimit)
    reportError(position(), "Member count " + std::to_string(count) + " is found greater than a class can have");
  writeU29(static_cast<std::uint32_t>(count) << 4 | kSealedClassHead);
  writeName(name.value_or(nullptr));
  for (std::size_t i = first; i < array.size(); ++i) writeName(array.nameText(i));
  for (std::size_t i = first; i < array.size(); ++i) writeAMF3(array.value(i));
}

void NQCSerializer::writeDynamic(const NQDataArray& array, std::size_t first) {
  for (std::size_t i = first; i < array.size(); ++i) {
    writeName(array.nameText(i));
    writeAMF3(array.value(i));
  }
  writeName({});
}

// The members of vectors and dictionaries have fixed places: size, a flag, for vectors of objects the class, the
// elements. The size that is written is the number of elements, whatever the stored one says.
void NQCSerializer::writeVector(Amf3Marker marker, const NQDataArray& array) {
  // An array that is shorter than its head is written as an empty vector: missing members are undefined, not an error.
  const std::size_t first = marker == Amf3Marker::kVectorObject ? 3 : 2;
  writeAMF3Head(lengthFrom(array, first));
  writeByte(flagOf(array.value(1)));
  if (marker == Amf3Marker::kVectorObject) writeAMF3String(array.value(2).text());
  for (std::size_t i = first; i < array.size(); ++i) {
    const NQDataValue& element = array.value(i);
    switch (marker) {
      case Amf3Marker::kVectorObject:
        writeAMF3(element);
        break;
      case Amf3Marker::kVectorDouble:
        writeDouble(element.toDouble());
        break;
      default:
        writeInt32(static_cast<std::uint32_t>(element.toInt64()));
    }
  }
}

void NQCSerializer::writeDictionary(const NQDataArray& array) {
  constexpr std::size_t kFirst = 2;
  // A key without its value is dropped.
  const std::size_t pairs = lengthFrom(array, kFirst) / 2;
  writeAMF3Head(pairs);
  writeByte(flagOf(array.value(1)));
  for (std::size_t i = kFirst; i < kFirst + 2 * pairs; ++i) writeAMF3(array.value(i));
}

void NQCSerializer::writeName(const NQTextPtr& name) {
  inContext(context::kAmf3Name, [&] { writeAMF3String(name); });
}
