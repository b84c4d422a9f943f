#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>
#include <vector>

#include "server/Amf3Marker.h"
#include "server/ObjectTable.h"
#include "shared_nqserver/NQAMF3Parser.h"
#include "shared_nqserver/NQDataArray.h"

/// Reads or writes script values in AMF0, and in AMF3 where a marker turns to it. Values of one serializer may refer to
/// earlier ones, so its tables go on from value to value. Values that were read outlive it.
///
/// Values deeper in one another than NQDataArray::kMaxNesting are refused like any malformed one, both ways.
class NQCSerializer : public NQAMF3Parser {
 public:
  /// Reads the next value, and its property name in front where one is asked for; answers its marker, or that of the
  /// object end (9) where the reading stopped on an error. A reference to nothing leaves `value` as it was. Also throws
  /// NQBreakConnection, whatever the mode, for a marker that does not exist.
  std::uint8_t readValue(NQDataValue& value, NQTextPtr* name = nullptr);
  /// A strict array comes back as an array, a 64-bit integer as a number or, within AMF3, as undefined. Throws
  /// NQBreakConnection for what the format cannot hold, and NQOutOfMemory; the bytes written then end somewhere in the
  /// value.
  void writeValue(const NQDataValue& value, const NQTextPtr* name = nullptr);
  /// Later values then refer to nothing before.
  void clearTables();

 protected:
  using NQAMF3Parser::NQAMF3Parser;
  ~NQCSerializer() = default;

  // One AMF3 value, without the marker that turns AMF0 to it. What is read stays as it was for a reference to what
  // another marker brought.
  void readAMF3(NQDataValue& value);
  void writeAMF3(const NQDataValue& value);

 private:
  /// The class of AMF3 objects: its name and the names of the members that each of them has (3.12, traits).
  struct ClassTraits {
    bool isDynamic = false;
    NQTextPtr name;
    std::vector<NQTextPtr> members;
  };

  /// Enters an array for the length of an operation on its members. What lies too deep is an error.
  template <typename Operation>
  void within(const NQDataArrayPtr& array, Amf3Marker objectKind, const Operation& operation) {
    if (objectTable_.openCount() == NQDataArray::kMaxNesting) return refuseNesting();
    const ObjectTable::Opening opening(objectTable_, array, objectKind);
    operation();
  }
  void refuseNesting();

  // Reading: what is made of a payload is taken from its allowance first.

  /// An array to be entered, with room for values. Null on an error.
  NQDataArrayPtr newArray(std::size_t room = 0);
  void append(NQDataArray& array, NQTextPtr name, NQDataValue value);
  void appendElement(NQDataArray& array, NQDataValue value);

  // AMF0, reading: what follows a marker.
  void readBody(NQDataKind marker, NQDataValue& value);
  void readReference(NQDataValue& value);
  void readObject(NQDataValue& value);
  void readTypedObject(NQDataValue& value);
  void readArray(NQDataValue& value);
  void readStrictArray(NQDataValue& value);
  void readMembers(NQDataArray& array);
  void readDate(NQDataValue& value);
  void readBlob(NQDataValue& value);

  // AMF0, writing.
  void writeBody(const NQDataValue& value);
  void writeMarker(NQDataKind kind) { writeByte(static_cast<std::uint8_t>(kind)); }
  void writeString(std::string_view text);
  void writeDate(const NQDataValue& value);
  void writeBlob(const NQDataValue& value);
  void writeContainer(const NQDataValue& value);
  void writeReference(std::uint32_t index);
  void writeMembers(NQDataKind kind, const NQDataArray& array);
  void writeNamed(const NQDataArray& array, std::size_t first);

  // AMF3, reading.
  void readAMF3Body(Amf3Marker marker, NQDataValue& value);
  std::optional<std::uint32_t> readAMF3Head(Amf3Marker marker, NQDataValue& value);
  void readAMF3Reference(std::uint32_t index, Amf3Marker marker, NQDataValue& value);
  void enterLeaf(Amf3Marker marker, const NQDataValue& value);
  void readAMF3Integer(NQDataValue& value);
  void readAMF3Double(NQDataValue& value);
  void readAMF3Xml(Amf3Marker marker, NQDataValue& value);
  void readAMF3Date(NQDataValue& value);
  void readAMF3Bytes(NQDataValue& value);
  void readAMF3Array(NQDataValue& value);
  void readAMF3Object(NQDataValue& value);
  void readObjectMembers(std::uint32_t head, NQDataArray& array);
  // Null on an error.
  const ClassTraits* readTraits(std::uint32_t head);
  const ClassTraits* knownTraits(std::uint32_t index);
  void readDynamic(NQDataArray& array);
  void readVector(Amf3Marker marker, NQDataValue& value);
  void readVectorElement(Amf3Marker marker, NQDataArray& array);
  void readDictionary(NQDataValue& value);
  void readMember(NQDataArray& array, NQTextPtr name);
  void readElement(NQDataArray& array);
  NQTextPtr readName();

  // AMF3, writing.
  void writeAMF3Body(const NQDataValue& value);
  void writeMarker(Amf3Marker marker) { writeByte(static_cast<std::uint8_t>(marker)); }
  void writeAMF3Head(std::size_t count);
  void writeAMF3Number(const NQDataValue& value);
  void writeAMF3Xml(const NQDataValue& value);
  void writeAMF3Date(const NQDataValue& value);
  void writeAMF3Bytes(const NQDataValue& value);
  void writeAMF3Container(const NQDataValue& value, Amf3Marker marker);
  void writeAMF3Array(const NQDataArray& array, std::size_t dense);
  void writeAMF3Object(const NQDataArray& array);
  void writeDynamic(const NQDataArray& array, std::size_t first);
  void writeVector(Amf3Marker marker, const NQDataArray& array);
  void writeDictionary(const NQDataArray& array);
  void writeName(const NQTextPtr& name);

  ObjectTable objectTable_;
  /// A deque, as it grows while one of them is in use.
  std::deque<ClassTraits> classTable_;
};
