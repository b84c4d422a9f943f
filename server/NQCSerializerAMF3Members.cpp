// Reading AMF3: arrays, objects, vectors and dictionaries.

#include <string>
#include <utility>

#include "server/NQCSerializer.h"
#include "server/memberNames.h"
#include "server/serializerContexts.h"

namespace {

// The U29 of an object, from its low bit on (AMF 3 specification, 3.12). If one of the first two bits is clear, the
// bits above it are an index: of an object, or of a class.
constexpr std::uint32_t kInlineObject = 1;
constexpr std::uint32_t kInlineClass = 2;
constexpr std::uint32_t kExternalizableClass = 4;
constexpr std::uint32_t kDynamicClass = 8;

/// The most members that come before the elements of a vector or dictionary: size, a flag, a class.
constexpr std::size_t kHeadMembers = 3;

/// The least bytes that an element of a vector takes.
std::uint32_t widthOf(Amf3Marker marker) {
  switch (marker) {
    case Amf3Marker::kVectorDouble:
      return 8;
    case Amf3Marker::kVectorObject:
      return 1;
    default:
      return 4;
  }
}

NQDataValue containerOf(const NQDataArrayPtr& array, Amf3Marker marker) {
  auto value = NQDataValue::container(NQDataKind::kAvmPlusObjectType, array);
  value.setSubKind(static_cast<std::uint8_t>(marker));
  return value;
}

}  // namespace

void NQCSerializer::readAMF3Array(NQDataValue& value) {
  const auto count = readAMF3Head(Amf3Marker::kArray, value);
  if (!count) return;
  // Each element has a byte at least, so a larger count is false: found before room is made for it.
  if (*count > remaining())
    return reportError(position(), "while serializing the array atom,array length found greater than remaining bytes");
  const auto array = newArray(*count);
  if (!array) return;
  value = NQDataValue::container(NQDataKind::kArrayType, array);
  within(array, Amf3Marker::kArray, [&] {
    // On the wire the named members come first. They are stored after the elements, so that an element's place in the
    // array is its index.
    const auto named = NQDataArrayPtr::make(0U);
    readDynamic(*named);
    for (std::uint32_t i = 0; i < *count && !errorFlag(); ++i) readElement(*array);
    for (std::size_t i = 0; i < named->size(); ++i) append(*array, named->nameText(i), named->value(i));
  });
}

void NQCSerializer::readAMF3Object(NQDataValue& value) {
  const auto rest = readAMF3Head(Amf3Marker::kObject, value);
  if (!rest) return;
  const auto array = newArray();
  if (!array) return;
  value = containerOf(array, Amf3Marker::kObject);
  // Entered before its members are read: they may refer to it.
  within(array, Amf3Marker::kObject, [&] { readObjectMembers(*rest << 1 | kInlineObject, *array); });
}

void NQCSerializer::readObjectMembers(std::uint32_t head, NQDataArray& array) {
  constexpr char kCount[] = "While serializing the object atom, the property index count ";
  // Checked for references to a class, too, whose bits there are part of the index: the bound comes first in all cases.
  const std::uint32_t count = head >> 4;
  if (count > remaining())
    return reportError(position(), kCount + std::to_string(count) + " is found greater than remaining bytes " +
                                       std::to_string(remaining()));
  // How long an externalizable object is only its class knows, so nothing after it can be read.
  if ((head & (kInlineClass | kExternalizableClass)) == (kInlineClass | kExternalizableClass))
    return reportError(position(), std::string(kCount) + " externalizable flag is found on ( last 3 bits of value " +
                                       std::to_string(head) + "). Server doesn't has support for IExternalizable yet.");
  const ClassTraits* const traits = (head & kInlineClass) != 0 ? readTraits(head) : knownTraits(head >> 2);
  if (traits == nullptr) return;
  append(array, memberNames().constructor, NQDataValue::string(traits->name));
  for (std::size_t i = 0; i < traits->members.size() && !errorFlag(); ++i) readMember(array, traits->members[i]);
  if (traits->isDynamic && !errorFlag()) readDynamic(array);
}

const NQCSerializer::ClassTraits* NQCSerializer::readTraits(std::uint32_t head) {
  const std::uint32_t count = head >> 4;
  if (!takeMemory(sizeof(ClassTraits) + count * sizeof(NQTextPtr) + ReadAllowance::kPerBlock)) return nullptr;
  // Kept aside until it is whole: a class that was cut off must not be found by an index.
  ClassTraits traits{.isDynamic = (head & kDynamicClass) != 0, .name = readName(), .members = {}};
  traits.members.reserve(count);
  // Each name counts as a value: in a reference of two bytes it may repeat a text of any length.
  while (traits.members.size() < count && !errorFlag() && takeValue()) traits.members.push_back(readName());
  if (errorFlag()) return nullptr;
  return &classTable_.emplace_back(std::move(traits));
}

const NQCSerializer::ClassTraits* NQCSerializer::knownTraits(std::uint32_t index) {
  if (index < classTable_.size()) return &classTable_[index];
  reportError(position(), "While serializing the object atom, class info index " + std::to_string(index) +
                              " is found greater than class reference table size " +
                              std::to_string(classTable_.size()));
  return nullptr;
}

void NQCSerializer::readDynamic(NQDataArray& array) {
  while (!errorFlag()) {
    NQTextPtr name = readName();
    // The empty name ends the list. It has no text: readAMF3String() returns null for it.
    if (!name) return;
    readMember(array, std::move(name));
  }
}

void NQCSerializer::readVector(Amf3Marker marker, NQDataValue& value) {
  const auto count = readAMF3Head(marker, value);
  if (!count) return;
  const bool isFixed = readByte() != 0;
  if (errorFlag()) return;
  if (std::uint64_t{*count} * widthOf(marker) > remaining())
    return reportError(position(),
                       "while serializing the vector object atom,array length found greater than remaining bytes");
  const auto array = newArray(*count + kHeadMembers);
  if (!array) return;
  value = containerOf(array, marker);
  within(array, marker, [&] {
    append(*array, memberNames().size, NQDataValue::number(*count));
    append(*array, memberNames().fixed, NQDataValue::boolean(isFixed));
    if (marker == Amf3Marker::kVectorObject)
      append(*array, memberNames().closure, NQDataValue::string(readAMF3String()));
    for (std::uint32_t i = 0; i < *count && !errorFlag(); ++i) readVectorElement(marker, *array);
  });
}

void NQCSerializer::readVectorElement(Amf3Marker marker, NQDataArray& array) {
  const NQTextPtr& name = memberNames().value;
  // Elements with a marker are counted where the marker is read.
  if (marker != Amf3Marker::kVectorObject && !takeValue()) return;
  switch (marker) {
    case Amf3Marker::kVectorInt:
      return append(array, name, NQDataValue::number(static_cast<std::int32_t>(readInt32())));
    case Amf3Marker::kVectorUint:
      return append(array, name, NQDataValue::number(readInt32()));
    case Amf3Marker::kVectorDouble:
      return append(array, name, NQDataValue::number(readDouble()));
    default:
      return readMember(array, name);
  }
}

void NQCSerializer::readDictionary(NQDataValue& value) {
  const auto count = readAMF3Head(Amf3Marker::kDictionary, value);
  if (!count) return;
  const bool isWeak = readByte() != 0;
  if (errorFlag()) return;
  if (std::uint64_t{*count} * 2 > remaining())
    return reportError(position(),
                       "while serializing the dictionary atom,array length found greater than remaining bytes");
  const auto array = newArray(2 * std::size_t{*count} + kHeadMembers);
  if (!array) return;
  value = containerOf(array, Amf3Marker::kDictionary);
  within(array, Amf3Marker::kDictionary, [&] {
    append(*array, memberNames().size, NQDataValue::number(*count));
    append(*array, memberNames().weak, NQDataValue::boolean(isWeak));
    for (std::uint32_t i = 0; i < *count && !errorFlag(); ++i) {
      readMember(*array, memberNames().key);
      if (!errorFlag()) readMember(*array, memberNames().value);
    }
  });
}

void NQCSerializer::readMember(NQDataArray& array, NQTextPtr name) {
  NQDataValue value;
  readAMF3(value);
  if (!errorFlag()) append(array, std::move(name), std::move(value));
}

void NQCSerializer::readElement(NQDataArray& array) {
  NQDataValue value;
  readAMF3(value);
  if (!errorFlag()) appendElement(array, std::move(value));
}

NQTextPtr NQCSerializer::readName() {
  return inContext(context::kAmf3Name, [&] { return readAMF3String(); });
}
