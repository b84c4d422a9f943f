#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace ruvo::k2r {

/// What a protection metadata file says, as AMF0 values: the string "|AdditionalHeader" and an object with
///
///     Encryption { Version, Method: "Standard", Flags,
///       Params { Version, EncryptionAlgorithm,
///         EncryptionParams { KeyLength },
///         KeyInfo { subType: "Vantryv2", VNRSV_METADATA { Metadata } } } }
struct AdditionalHeader {
  std::uint16_t encryptionVersion = 2;
  std::uint32_t encryptionFlags = 0;
  std::uint16_t paramsVersion = 1;
  std::string algorithm = "AES-CBC";
  /// Bytes.
  std::uint16_t keyLength = 16;
  /// The metadata block in Base64.
  std::string metadata;
};

/// Throws std::ios_base::failure where the stream takes less, or has failed before; its exception mask is restored.
void writeAdditionalHeader(std::ostream& out, const AdditionalHeader& header);

}  // namespace ruvo::k2r
