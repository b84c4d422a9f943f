#include <gtest/gtest.h>

#include <filesystem>

#include "fragmentation/EncryptorContext.h"
#include "fragmentation/EncryptorContextException.h"
#include "fragmentation/K2RUtilException.h"
#include "fragmentation/loadFile.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"

namespace {

using namespace test;
using namespace ruvo::k2r;

/// Settings of a protected recording; each file holds its own name.
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

TEST(EncryptorContext, HoldsSettingsAndFiles) {
  Protected recording;
  const EncryptorContext context = recording.read();
  EXPECT_EQ(context.contentId(), "ContentID");
  EXPECT_EQ(hex(context.commonKey().bytes()), hex("CommonKeyPath"));
  EXPECT_EQ(context.licenseServerUrl(), "LicenseServerURL");
  EXPECT_EQ(hex(context.transportCert().bytes()), hex("TransportCertPath"));
  EXPECT_EQ(hex(context.licenseServerCert().bytes()), hex("LicenseServerCertPath"));
  EXPECT_EQ(hex(context.packagerCredential().bytes()), hex("PackagerCredentialPath"));
  EXPECT_EQ(context.packagerCredentialPassword(), "PackagerCredentialPwd");
  EXPECT_EQ(hex(context.policy().bytes()), hex("PolicyPath"));
}

TEST(EncryptorContext, HasTheOptionsInTheLibrarysOrder) {
  const struct {
    std::map<std::string, std::string> settings;
    std::vector<std::uint32_t> words;
  } rows[] = {{{}, {1, 1, 1, 2, 0}},
              {{{"EncryptVideo", "false"}}, {0, 1, 1, 2, 0}},
              {{{"EncryptAudio", "no"}}, {1, 0, 1, 2, 0}},
              {{{"EncryptData", ""}, {"EncryptAudio", "TRUE"}}, {1, 1, 0, 2, 0}},
              {{{"VideoEncryptLevel", "1"}}, {1, 1, 1, 1, 0}},
              {{{"VideoEncryptLevel", "0"}}, {1, 1, 1, 0, 0}}};
  for (const auto& row : rows) {
    Protected recording;
    for (const auto& [key, value] : row.settings) recording.set(key, value);
    const EncryptionOptions options = recording.read().encryptionOptions();
    EXPECT_EQ((std::vector{options.encryptVideo, options.encryptAudio, options.encryptData, options.videoEncryptLevel,
                           options.reserved}),
              row.words);
  }
}

TEST(EncryptorContext, FailsAtTheFirstThatIsMissing) {
  // What is missing in one row is missing in all rows above it, so that the order shows.
  const struct {
    const char* key;
    const char* message;
  } rows[] = {
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
  for (const auto& row : rows) {
    recording.set(row.key, "");
    EXPECT_EQ(recording.failure(), row.message);
    EXPECT_THROW(recording.read(), qvs::k2r::EncryptorContextException) << row.key;
  }
}

TEST(EncryptorContext, FailsAtTheFirstFileThatCannotBeOpened) {
  Protected recording;
  recording.set("VideoEncryptLevel", "3");
  for (const char* key :
       {"PolicyPath", "PackagerCredentialPath", "LicenseServerCertPath", "TransportCertPath", "CommonKeyPath"}) {
    const std::string path = recording.files.file(key);
    std::filesystem::remove(path);
    EXPECT_EQ(recording.failure(), "Error (2) - Cannot open file '" + path + "'");
  }
  recording.set("LicenseServerURL", "");
  EXPECT_THROW(recording.read(), CantOpenFileException) << "the key comes before the address";
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

}  // namespace
