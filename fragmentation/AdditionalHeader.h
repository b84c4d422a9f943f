#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace ruvo::k2r {

/// Content of the protection metadata file (`.drmmeta`): two AMF0 values without anything around them, the string
/// "|AdditionalHeader" (marker 2) and an anonymous object (marker 3), whose members have this order:
///
///     Encryption { Version, Method: "Standard", Flags,
///       Params { Version, EncryptionAlgorithm,
///         EncryptionParams { KeyLength },
///         KeyInfo { subType: "Vantryv2", VNRSV_METADATA { Metadata } } } }
///
/// Each "}" is an empty name and the marker 9, three bytes. Numbers are AMF0 numbers (marker 0, IEEE 754 double).
struct AdditionalHeader {
  /// `Version` of `Encryption`.
  std::uint16_t encryptionVersion = 2;
  std::uint32_t encryptionFlags = 0;
  /// `Version` of `Params`.
  std::uint16_t paramsVersion = 1;
  std::string algorithm = "AES-CBC";
  /// Bytes.
  std::uint16_t keyLength = 16;
  /// The metadata block in Base64. From 65536 characters on it is written as a long string (marker 12).
  std::string metadata;
};

/// Writes both values at the stream's position. Throws std::ios_base::failure if the stream takes less or has failed
/// before; `out` then ends in part of them. The stream's exception mask is restored.
void writeAdditionalHeader(std::ostream& out, const AdditionalHeader& header);

}  // namespace ruvo::k2r
