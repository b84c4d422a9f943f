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
inline std::string sinfImage(const std::string& format, const std::string& text = "51554a44") {
  const auto size = [&](std::size_t rest) {
    constexpr char kDigits[] = "0123456789abcdef";
    const std::size_t total = rest + text.size() / 2;
    return std::string("000000") + kDigits[total >> 4 & 15] + kDigits[total & 15];
  };
  return hex(fromHex(size(0x8d) + "73696e66"                              // sinf
                     + "0000000c 66726d61" + format                       // frma
                     + "00000014 7363686d 01000000 61646b6d 00000001"     // schm
                     + size(0x65) + "73636869"                            // schi
                     + size(0x5d) + "61646b6d 01000000"                   // adkm
                     + size(0x42) + "61686472 02000000"                   // ahdr
                     + size(0x36) + "6170726d 01000000"                   // aprm
                     + "00000015 61656962 01000000 4145532d 43424300 10"  // aeib
                     + size(0x15) + "616b6579 01000000"                   // akey
                     + size(0x09) + "666c7873" + text + "00"              // flxs
                     + "0000000f 61646166 00000000 800010"));             // adaf
}

}  // namespace test
