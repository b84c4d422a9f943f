#pragma once

#include <cstdint>
#include <string_view>

/// The kind of a script value. The numbers are the AMF0 markers on the wire (AMF 0 specification, 2.1); 32 and 34 are
/// additions of this system, which other readers do not know. A byte from the wire may be none of these.
enum class NQDataKind : std::uint8_t {
  kNumberType = 0,
  kBoolType = 1,
  kStringType = 2,
  kObjectType = 3,
  kMovieClipType = 4,
  kNullType = 5,
  kUndefinedType = 6,
  /// On the wire only: what is read has the kind of an array.
  kReferenceType = 7,
  kArrayType = 8,
  /// On the wire only: ends a list of members. As the result of a read it also says that reading failed.
  kObjectEndType = 9,
  /// To be written only: what is read becomes kArrayType.
  kStrictArrayType = 10,
  kDateType = 11,
  kLongStringType = 12,
  kUnsupportedType = 13,
  kXMLType = 15,
  kTypedObjectType = 16,
  /// On the wire the switch to AMF3; as a value an object, vector or dictionary of AMF3.
  kAvmPlusObjectType = 17,
  kBlobType = 32,
  /// Read only: it is written as a number.
  kInt64Type = 34,
};

/// The name in diagnostics; empty for a number that is no kind. Some names are cut; they are fixed as they are.
std::string_view nameOf(NQDataKind kind);

/// Whether values of that kind have an NQDataArray.
bool isContainer(NQDataKind kind);

/// Whether values of that kind are numbers, 64-bit integers included.
bool isNumber(NQDataKind kind);

/// Whether the description of a stream may have that kind: encoders write an object, an array or an AMF3 object.
bool isDescription(NQDataKind kind);
