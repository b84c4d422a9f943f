#pragma once

#include <cstdint>

/// The type markers of AMF3 (AMF 3 specification, 3.1).
enum class Amf3Marker : std::uint8_t {
  kUndefined = 0,
  kNull = 1,
  kFalse = 2,
  kTrue = 3,
  kInteger = 4,
  kDouble = 5,
  kString = 6,
  kXmlDocument = 7,
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
