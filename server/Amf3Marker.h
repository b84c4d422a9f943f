#pragma once

#include <cstdint>

/// The type markers of AMF3 (AMF 3 specification, 3.1); the values are those on the wire. An object, array, date, XML
/// or byte array after its marker, a vector and a dictionary begin with a U29 whose low bit is 0 for a reference.
enum class Amf3Marker : std::uint8_t {
  kUndefined = 0,
  kNull = 1,
  kFalse = 2,
  kTrue = 3,
  /// 29 bits; larger numbers are doubles.
  kInteger = 4,
  /// IEEE 754, eight bytes.
  kDouble = 5,
  /// UTF-8 after a U29 with its length, or a reference to an earlier one.
  kString = 6,
  /// The older of the two forms of XML, beside kXml.
  kXmlDocument = 7,
  /// A double: milliseconds since 1970-01-01 UTC.
  kDate = 8,
  kArray = 9,
  kObject = 10,
  kXml = 11,
  kByteArray = 12,
  kVectorInt = 13,
  kVectorUint = 14,
  kVectorDouble = 15,
  kVectorObject = 16,
  kDictionary = 17,
};
