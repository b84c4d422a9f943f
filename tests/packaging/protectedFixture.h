#pragma once

#include <string>

#include "fragmentation/IEncryptorContext.h"
#include "packaging/EncryptedK2RMediaWriterPolicy.h"
#include "tests/encryption/FakeLibrary.h"
#include "tests/packaging/recordingFixture.h"

namespace test {

/// A protected recording on a fake library. The metadata text is "QUJD".
class ProtectedFixture : public RecordingFixture {
 protected:
  using Policy = ruvo::k2rpkgutil::EncryptedK2RMediaWriterPolicy;

  std::unique_ptr<K2RMediaWriter> newProtectedSegment() {
    file = MemoryStream();
    return std::make_unique<K2RMediaWriter>(protectedPolicy, properties, file);
  }
  std::unique_ptr<K2RMediaWriter> continueProtected(Policy& policyOfAppend, std::uint64_t position) {
    return std::make_unique<K2RMediaWriter>(policyOfAppend, file, position, warnings);
  }
  /// A policy as the set-up of another writer side makes it.
  Policy makePolicy(const std::string& metadataText) {
    return Policy(rkx::RKXEncryptor(std::as_bytes(std::span("key", 3)), "id", {1, 1, 1, 2, 0}), *this, metadataText);
  }
  ruvo::k2rpkgutil::NQMessage message(std::uint8_t type, const char* data, std::uint32_t time = 0x40,
                                      std::uint32_t timestamp = 0x01020304) {
    const auto bytes = fromHex(data);
    return {arena, time, type, timestamp, bytes.data(), static_cast<std::uint32_t>(bytes.size())};
  }

  FakeLibrary library;
  Policy protectedPolicy = makePolicy("QUJD");
};

/// The protection box of the fixture's metadata text, for a format code in hex.
inline std::string sinfImage(const std::string& format) {
  return hex(
      fromHex("00000091 73696e66"  // sinf
              "0000000c 66726d61" +
              format +                                                   // frma
              "00000014 7363686d 01000000 61646b6d 00000001"             // schm
              "00000069 73636869"                                        // schi
              "00000061 61646b6d 01000000"                               // adkm
              "00000046 61686472 02000000"                               // ahdr
              "0000003a 6170726d 01000000"                               // aprm
              "00000015 61656962 01000000 4145532d 43424300 10"          // aeib
              "00000019 616b6579 01000000 0000000d 666c7873 51554a4400"  // akey, flxs
              "0000000f 61646166 00000000 800010"));                     // adaf
}

}  // namespace test
