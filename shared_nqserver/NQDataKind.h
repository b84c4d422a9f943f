#pragma once

#include <cstdint>
#include <string_view>

/// What a script value is. Most are AMF0 markers as well; 32 and 34 are this server's own.
enum class NQDataKind : std::uint8_t {
  kNumberType = 0,
  kBoolType = 1,
  kStringType = 2,
  kObjectType = 3,
  kMovieClipType = 4,
  kNullType = 5,
  kUndefinedType = 6,
  kReferenceType = 7,
  kArrayType = 8,
  kObjectEndType = 9,
  kStrictArrayType = 10,
  kDateType = 11,
  kLongStringType = 12,
  kUnsupportedType = 13,
  kXMLType = 15,
  kTypedObjectType = 16,
  kAvmPlusObjectType = 17,
  kBlobType = 32,
  kInt64Type = 34,
};

/// Its name in diagnostics; empty for a number that is no kind.
std::string_view nameOf(NQDataKind kind);

/// Whether values of that kind hold an NQDataArray.
bool isContainer(NQDataKind kind);

/// Whether values of that kind are numbers, those of this server included.
bool isNumber(NQDataKind kind);

/// Whether a stream's description, which is an object, an array or an AMF3 object, may be of that kind.
bool isDescription(NQDataKind kind);
