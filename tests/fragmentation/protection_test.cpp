#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <filesystem>
#include <sstream>

#include "fragmentation/AdditionalHeader.h"
#include "fragmentation/EncryptorContext.h"
#include "fragmentation/EncryptorContextException.h"
#include "fragmentation/K2RUtilException.h"
#include "fragmentation/ProtectionMetadata.h"
#include "fragmentation/base64.h"
#include "fragmentation/loadFile.h"
#include "tests/encryption/FakeLibrary.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "util/bytes.h"
#include "wrappers/rkx/RKXException.h"

namespace {

using namespace test;
using namespace ruvo::k2r;

/// Settings of a protected recording; each value and each file is its own name.
struct Protected {
  Protected() {
    for (const char* key : {"ContentID", "LicenseServerURL", "PackagerCredentialPwd"}) set(key, key);
    for (const char* key :
         {"CommonKeyPath", "TransportCertPath", "LicenseServerCertPath", "PackagerCredentialPath", "PolicyPath"}) {
      writeWholeFile(files.path() / key, key);
      set(key, files.file(key));
    }
  }
  void set(const std::string& key, const std::string& value) { host.settings["Recording/VantryV2/" + key] = value; }
  EncryptorContext read() { return readEncryptorContext(host); }
  std::string failure() {
    try {
      read();
      return "";
    } catch (const qvs::QVSException& failed) {
      return failed.message();
    }
  }

  TempDirectory files;
  TestHost host{nullptr};
};

TEST(EncryptorContext, HasTheOptionsInTheLibrarysOrder) {
  const std::tuple<const char*, const char*, std::array<std::uint32_t, 5>> rows[] = {
      {"EncryptVideo", "false", {0, 1, 1, 2, 0}},  {"EncryptAudio", "no", {1, 0, 1, 2, 0}},
      {"EncryptData", "", {1, 1, 0, 2, 0}},        {"EncryptAudio", "TRUE", {1, 1, 1, 2, 0}},
      {"VideoEncryptLevel", "1", {1, 1, 1, 1, 0}}, {"VideoEncryptLevel", "0", {1, 1, 1, 0, 0}}};
  for (const auto& [key, value, words] : rows) {
    Protected recording;
    recording.set(key, value);
    EXPECT_EQ(std::bit_cast<decltype(words)>(recording.read().encryptionOptions()), words) << key;
  }
}

TEST(EncryptorContext, FailsAtTheFirstThatIsMissing) {
  // The last that is read comes first, so that each row finds what those above it left missing.
  const std::pair<const char*, const char*> rows[] = {
      {"PolicyPath", "no policy specified"},
      {"PackagerCredentialPwd", "no packager credential password specified"},
      {"PackagerCredentialPath", "no packager credential specified"},
      {"LicenseServerCertPath", "no license server certificate specified"},
      {"TransportCertPath", "no transport certificate specified"},
      {"LicenseServerURL", "no license server URL specified"},
      {"CommonKeyPath", "no common key specified"},
      {"ContentID", "no content ID specified"},
  };
  Protected recording;
  recording.set("VideoEncryptLevel", "3");
  EXPECT_EQ(recording.failure(), "invalid video encryption level; must 0, 1 or 2");
  for (const auto& [key, message] : rows) {
    const std::string path = recording.files.file(key);
    if (std::filesystem::remove(path)) {
      EXPECT_EQ(recording.failure(), "Error (2) - Cannot open file '" + path + "'");
      EXPECT_THROW(recording.read(), CantOpenFileException) << key;
    }
    recording.set(key, "");
    EXPECT_EQ(recording.failure(), message);
    EXPECT_THROW(recording.read(), qvs::k2r::EncryptorContextException) << key;
  }
}

TEST(LoadFile, TakesTheWholeContent) {
  TempDirectory files;
  for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 1U << 20}) {
    std::string content;
    for (std::size_t i = 0; i < size; ++i) content += static_cast<char>(i * 7 + i / 256);
    writeWholeFile(files.path() / "file", content);
    EXPECT_EQ(hex(loadFile(files.file("file")).bytes()), hex(content)) << size;
    EXPECT_EQ(loadFile(modulePath(files.path() / "file")).size(), size) << "a path with backslashes";
  }
}

TEST(LoadFile, RefusesWhatIsNoSmallFile) {
  TempDirectory files;
  EXPECT_THROW(loadFile(files.file("none")), CantOpenFileException);
  EXPECT_THROW(loadFile(files.path().string()), K2RUtilFileException) << "a directory";
  EXPECT_THROW(loadFile("/dev/zero"), K2RUtilFileException) << "a file without end";
}

TEST(ProtectionMetadata, AreTheLibrarysBlockOfAllSettingsAndFiles) {
  Protected recording;
  recording.set("EncryptAudio", "false");
  FakeLibrary library;
  library.metadata = std::string("\0block\xff", 7);
  generateProtectionMetadata(recording.read());  // The first use of the library asks for its tables, too.
  library.calls.clear();
  EXPECT_EQ(hex(generateProtectionMetadata(recording.read()).bytes()), hex(library.metadata));
  EXPECT_THAT(library.calls, testing::ElementsAre("createEncryptor 'CommonKeyPath' 'ContentID' 1 0 1 2 0 1 0",
                                                  "createMetadata 'LicenseServerURL' 'TransportCertPath' "
                                                  "'LicenseServerCertPath' 'PackagerCredentialPath' "
                                                  "'PackagerCredentialPwd' 'PolicyPath' 0",
                                                  "metadataSize ", "copyMetadata 7"));
  EXPECT_EQ(library.objects, 0);
}

TEST(ProtectionMetadata, FailWithALibraryThatMakesNone) {
  Protected recording;
  FakeLibrary library;
  library.makesNoMetadata = true;
  EXPECT_THAT([&] { generateProtectionMetadata(recording.read()); },
              testing::ThrowsMessage<qvs::QVSException>("Error (4) - DRM metadata generation failed"));
  library.statuses["createMetadata"] = 10;
  EXPECT_THROW(generateProtectionMetadata(recording.read()), rkx::RKXException);
  EXPECT_EQ(library.objects, 0);
}

TEST(Base64, IsPaddedAndInOneLine) {
  const std::pair<std::string, std::string> rows[] = {{"", ""},
                                                      {"f", "Zg=="},
                                                      {"fo", "Zm8="},
                                                      {"foobar", "Zm9vYmFy"},
                                                      {"\xfb\xef\xbe\xff\xff\xff", "++++////"},
                                                      {std::string(3000, '\0'), std::string(4000, 'A')}};
  for (const auto& [data, text] : rows) EXPECT_EQ(base64Encode(qvs::util::asBytes(data)), text);
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

TEST(AdditionalHeader, IsWrittenByteForByte) {
  const std::pair<const char*, std::string> rows[] = {
      {"02 0004", "QUJD"}, {"02 ffff", std::string(65535, 'A')}, {"0c 00010000", std::string(65536, 'A')}};
  for (const auto& [lengthImage, metadata] : rows) {
    std::ostringstream out;
    AdditionalHeader header;
    header.metadata = metadata;
    writeAdditionalHeader(out, header);
    EXPECT_EQ(hex(out.str()), hex(fromHex(std::string(kHead) + lengthImage + hex(metadata) + kTail)));
  }
}

}  // namespace
