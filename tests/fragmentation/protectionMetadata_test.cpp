#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "fragmentation/AdditionalHeader.h"
#include "fragmentation/ProtectionMetadata.h"
#include "fragmentation/base64.h"
#include "tests/encryption/FakeLibrary.h"
#include "tests/support/hex.h"
#include "util/bytes.h"
#include "wrappers/rkx/RKXException.h"

namespace {

using namespace test;
using namespace ruvo::k2r;
using qvs::util::ByteBuffer;

ByteBuffer bufferOf(std::string_view text) {
  return ByteBuffer(qvs::util::asBytes(text));
}

class Context final : public IEncryptorContext {
 public:
  const std::string& contentId() const override { return id_; }
  const ByteBuffer& commonKey() const override { return key_; }
  const std::string& licenseServerUrl() const override { return url_; }
  const ByteBuffer& transportCert() const override { return transport_; }
  const ByteBuffer& licenseServerCert() const override { return server_; }
  const ByteBuffer& packagerCredential() const override { return credential_; }
  const std::string& packagerCredentialPassword() const override { return password_; }
  const ByteBuffer& policy() const override { return policy_; }
  const EncryptionOptions& encryptionOptions() const override { return options_; }

 private:
  std::string id_ = "id";
  ByteBuffer key_ = bufferOf("key");
  std::string url_ = "url";
  ByteBuffer transport_ = bufferOf("transport");
  ByteBuffer server_ = bufferOf("server");
  ByteBuffer credential_ = bufferOf("credential");
  std::string password_ = "password";
  ByteBuffer policy_ = bufferOf("policy");
  EncryptionOptions options_{1, 0, 1, 2, 0};
};

TEST(ProtectionMetadata, AreTheLibrarysBlock) {
  FakeLibrary library;
  library.metadata = std::string("\0block\xff", 7);
  generateProtectionMetadata(Context());  // The first use of the library asks for its tables, too.
  library.calls.clear();
  EXPECT_EQ(hex(generateProtectionMetadata(Context()).bytes()), hex(library.metadata));
  EXPECT_THAT(library.calls,
              testing::ElementsAre("createEncryptor 'key' 'id' 1 0 1 2 0 1 0",
                                   "createMetadata 'url' 'transport' 'server' 'credential' 'password' 'policy' 0",
                                   "metadataSize ", "copyMetadata 7"));
  EXPECT_EQ(library.objects, 0);
}

TEST(ProtectionMetadata, FailWithALibraryThatMakesNone) {
  FakeLibrary library;
  library.makesNoMetadata = true;
  try {
    generateProtectionMetadata(Context());
    FAIL();
  } catch (const ruvo::k2rpkgutil::DRMMetadataGenerationFailed& failure) {
    EXPECT_EQ(failure.message(), "Error (4) - DRM metadata generation failed");
  }
  library.statuses["createMetadata"] = 10;
  EXPECT_THROW(generateProtectionMetadata(Context()), rkx::RKXException);
  EXPECT_EQ(library.objects, 0);
}

TEST(Base64, IsPaddedAndInOneLine) {
  const struct {
    std::string data;
    const char* text;
  } rows[] = {{"", ""},
              {"f", "Zg=="},
              {"fo", "Zm8="},
              {"foo", "Zm9v"},
              {"foob", "Zm9vYg=="},
              {"fooba", "Zm9vYmE="},
              {"foobar", "Zm9vYmFy"},
              {"\xfb\xef\xbe\xff\xff\xff", "++++////"}};
  for (const auto& row : rows) EXPECT_EQ(base64Encode(qvs::util::asBytes(row.data)), row.text);
  const std::string longText = base64Encode(ByteBuffer(3000).bytes());
  EXPECT_EQ(longText, std::string(4000, 'A'));
}

constexpr char kHead[] =
    "02 0011 7c4164646974696f6e616c486561646572"  // "|AdditionalHeader"
    "03"
    "000a 456e6372797074696f6e 03"                  // "Encryption"
    "0007 56657273696f6e 00 4000000000000000"       // "Version", 2
    "0006 4d6574686f64 02 0008 5374616e64617264"    // "Method", "Standard"
    "0005 466c616773 00 0000000000000000"           // "Flags"
    "0006 506172616d73 03"                          // "Params"
    "0007 56657273696f6e 00 3ff0000000000000"       // "Version", 1
    "0013 456e6372797074696f6e416c676f726974686d"   // "EncryptionAlgorithm"
    "02 0007 4145532d434243"                        // "AES-CBC"
    "0010 456e6372797074696f6e506172616d73 03"      // "EncryptionParams"
    "0009 4b65794c656e677468 00 4030000000000000"   // "KeyLength", 16
    "000009"                                        //
    "0007 4b6579496e666f 03"                        // "KeyInfo"
    "0007 73756254797065 02 0008 56616e7472797632"  // "subType", "Vantryv2"
    "000e 564e5253565f4d45544144415441 03"          // "VNRSV_METADATA"
    "0008 4d65746164617461";                        // "Metadata"
constexpr char kTail[] = "000009 000009 000009 000009 000009";

std::string written(const std::string& metadata) {
  std::ostringstream out;
  AdditionalHeader header;
  header.metadata = metadata;
  writeAdditionalHeader(out, header);
  return hex(out.str());
}

TEST(AdditionalHeader, IsWrittenByteForByte) {
  EXPECT_EQ(written("QUJD"), hex(fromHex(std::string(kHead) + "02 0004 51554a44" + kTail)));
}

TEST(AdditionalHeader, HasBothFormsOfALongText) {
  const std::string shortText(65535, 'A');
  EXPECT_EQ(written(shortText), hex(fromHex(std::string(kHead) + "02 ffff" + hex(shortText) + kTail)));
  const std::string longText(65536, 'A');
  EXPECT_EQ(written(longText), hex(fromHex(std::string(kHead) + "0c 00010000" + hex(longText) + kTail)));
}

TEST(AdditionalHeader, FailsWithItsStream) {
  std::ostringstream out;
  out.setstate(std::ios::badbit);
  EXPECT_THROW(writeAdditionalHeader(out, {}), std::ios_base::failure);
  EXPECT_EQ(out.exceptions(), std::ios::goodbit);
}

}  // namespace
