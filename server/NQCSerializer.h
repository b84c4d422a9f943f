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

/// Reads or writes script values in AMF0, and in AMF3 after the marker that switches to it (17, "avmplus"). The
/// constructor decides the direction. Values of one serializer may refer to earlier ones, so its tables last from value
/// to value until clearTables(). Values that were read outlive it.
///
/// AMF0 values (AMF 0 specification, 2), after the marker:
///
///     0  f64 number                           10  u32 n, n values: a strict array
///     1  u8 boolean, true if 1                11  f64 milliseconds, i16 zone: a date
///     2  u16 n, n bytes of text               12  u32 n, n bytes of text
///     3  members and end: an object           13  nothing: unsupported, read as undefined
///     4  as 2                                 15  u32 n, n bytes of XML
///     5  nothing: null                        16  class name, members and end: an object with a class
///     6  nothing: undefined                   17  one AMF3 value
///     7  u16 index of an object or array      32  u32 n, n bytes: a blob, an addition of this system
///     8  u32 hint, members and end: an array  34  i64: an addition of this system
///
/// A member is a name (u16 n, n bytes) and a value; the end is an empty name and the marker 9.
///
/// AMF3 values (AMF 3 specification, 3), after the marker. A head is a U29 whose low bit is 1; with the low bit 0 the
/// rest is the index of an earlier object, and nothing follows:
///
///      4  U29 of 29 bits, signed               11  as 7
///      5  f64                                  12  head of n, n bytes
///      6  string                               13  head of n, u8 fixed, n times i32
///      7  head of n, n bytes of XML            14  head of n, u8 fixed, n times u32
///      8  head, f64 milliseconds               15  head of n, u8 fixed, n times f64
///      9  head of n, members, n values         16  head of n, u8 fixed, class name, n values
///     10  head, class, values, members         17  head of n, u8 weak, n times key and value
///
/// Members are strings and values up to an empty string. The head of an object has, from bit 1 on: whether the class is
/// inline, externalizable (refused), dynamic (members follow), and the number of its sealed members, whose names follow
/// the class name. Without an inline class the rest of the head is the index of an earlier one.
///
/// Input is not trusted: every count is compared with the bytes that are left, all memory is taken from the payload's
/// ReadAllowance before it is allocated, and values nested deeper than NQDataArray::kMaxNesting are malformed, both
/// ways, since reading and writing them is recursive. Belongs to one thread.
///
/// A failure is an NQBreakConnection, or without `throwOnError` a set errorFlag(): reads then give zeros and the
/// position is at the end.
class NQCSerializer : public NQAMF3Parser {
 public:
  /// Reads the next value, preceded by its property name if `name` is not null, and returns its AMF0 marker; that of
  /// the object end (9) if reading stopped on an error. A reference to an index that does not exist leaves `value` as
  /// it was and is no error in AMF0. Throws NQBreakConnection in either mode for a marker that does not exist.
  std::uint8_t readValue(NQDataValue& value, NQTextPtr* name = nullptr);
  /// Writes a value, with its property name before it if `name` is not null. Not every kind is read back as it was: a
  /// strict array becomes an array, a 64-bit integer a number or, within AMF3, undefined. Throws NQBreakConnection for
  /// a value that the format cannot express, and NQOutOfMemory; the bytes written so far then end inside the value.
  void writeValue(const NQDataValue& value, const NQTextPtr* name = nullptr);
  /// Forgets strings, objects and classes: later values cannot refer to earlier ones. A command never calls it, as its
  /// arguments may refer to each other.
  void clearTables();

 protected:
  using NQAMF3Parser::NQAMF3Parser;
  ~NQCSerializer() = default;

  // One AMF3 value, without the AMF0 marker that announces it. A reference to an entry that another marker made leaves
  // `value` as it was.
  void readAMF3(NQDataValue& value);
  void writeAMF3(const NQDataValue& value);

 private:
  /// A class of AMF3 objects (3.12, traits): its name, and the names of the members that each of its objects has.
  struct ClassTraits {
    /// Its objects may have further members, with names of their own.
    bool isDynamic = false;
    NQTextPtr name;
    std::vector<NQTextPtr> members;
  };

  /// Enters an array in the table and runs an operation on its members, which may refer to it meanwhile. Nesting that
  /// is too deep is an error.
  template <typename Operation>
  void within(const NQDataArrayPtr& array, Amf3Marker objectKind, const Operation& operation) {
    if (objectTable_.openCount() == NQDataArray::kMaxNesting) return refuseNesting();
    const ObjectTable::Opening opening(objectTable_, array, objectKind);
    operation();
  }
  /// Reports the error, in the words of the direction.
  void refuseNesting();

  // Reading: memory is taken from the payload's allowance before anything is made.

  /// A new array with room for `room` values, and its entry in the table paid for. Null on an error.
  NQDataArrayPtr newArray(std::size_t room = 0);
  /// Adds a member, if the allowance has room for it.
  void append(NQDataArray& array, NQTextPtr name, NQDataValue value);
  /// Adds an element, whose name is its index and is made only on demand.
  void appendElement(NQDataArray& array, NQDataValue value);

  // AMF0, reading: the bytes after a marker.
  void readBody(NQDataKind marker, NQDataValue& value);
  /// u16 index. An index that nothing has leaves `value` as it was.
  void readReference(NQDataValue& value);
  /// These give `value` the array first and the members afterwards: members may refer to it, and after a fault it has
  /// those before the fault.
  void readObject(NQDataValue& value);
  void readTypedObject(NQDataValue& value);
  void readArray(NQDataValue& value);
  void readStrictArray(NQDataValue& value);
  /// Up to the end: an empty name and the marker 9.
  void readMembers(NQDataArray& array);
  void readDate(NQDataValue& value);
  /// u32 length, and a copy of the bytes.
  void readBlob(NQDataValue& value);

  // AMF0, writing.
  void writeBody(const NQDataValue& value);
  void writeMarker(NQDataKind kind) { writeByte(static_cast<std::uint8_t>(kind)); }
  void writeString(std::string_view text);
  void writeDate(const NQDataValue& value);
  void writeBlob(const NQDataValue& value);
  void writeContainer(const NQDataValue& value);
  /// Instead of a container that was written before.
  void writeReference(std::uint32_t index);
  void writeMembers(NQDataKind kind, const NQDataArray& array);
  /// The members from subscript `first` on.
  void writeNamed(const NQDataArray& array, std::size_t first);

  // AMF3, reading: the bytes after a marker.
  void readAMF3Body(Amf3Marker marker, NQDataValue& value);
  /// The U29 after a marker without its low bit. Nothing on an error, and for a reference, which it resolves.
  std::optional<std::uint32_t> readAMF3Head(Amf3Marker marker, NQDataValue& value);
  /// An entry of another marker has no effect: the value would not be what the marker announces.
  void readAMF3Reference(std::uint32_t index, Amf3Marker marker, NQDataValue& value);
  /// Enters a value without members, to which later values may refer nevertheless.
  void enterLeaf(Amf3Marker marker, const NQDataValue& value);
  /// 29 bits in two's complement.
  void readAMF3Integer(NQDataValue& value);
  void readAMF3Double(NQDataValue& value);
  /// XML, dates and byte arrays are entered in the table when they are complete, as nothing inside them can refer to
  /// them.
  void readAMF3Xml(Amf3Marker marker, NQDataValue& value);
  void readAMF3Date(NQDataValue& value);
  void readAMF3Bytes(NQDataValue& value);
  void readAMF3Array(NQDataValue& value);
  void readAMF3Object(NQDataValue& value);
  /// `head` is the whole U29, its low bit included.
  void readObjectMembers(std::uint32_t head, NQDataArray& array);
  // Views into the table of classes; null on an error.
  const ClassTraits* readTraits(std::uint32_t head);
  const ClassTraits* knownTraits(std::uint32_t index);
  /// Names and values, up to an empty name.
  void readDynamic(NQDataArray& array);
  /// Vectors and dictionaries become arrays; the sub-kind of the value keeps the marker for writing.
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
  /// The first `dense` elements are written by index, the others by name.
  void writeAMF3Array(const NQDataArray& array, std::size_t dense);
  void writeAMF3Object(const NQDataArray& array);
  void writeDynamic(const NQDataArray& array, std::size_t first);
  void writeVector(Amf3Marker marker, const NQDataArray& array);
  void writeDictionary(const NQDataArray& array);
  void writeName(const NQTextPtr& name);

  ObjectTable objectTable_;
  /// A deque: reading the members of an object adds classes while the object's own is in use.
  std::deque<ClassTraits> classTable_;
};
