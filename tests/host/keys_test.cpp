#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "fragmentation/EncryptorContext.h"
#include "fragmentation/ProtectionMetadata.h"
#include "host/OpenContext.h"
#include "host/Settings.h"
#include "host/errors.h"
#include "host/files/smallFiles.h"
#include "host/keys/keySet.h"
#include "platform/encryption/unprotect.h"
#include "tests/support/TempDirectory.h"

namespace {

namespace fs = std::filesystem;
using host::NewFiles;

void makeKeys(const std::string& directory) {
  NewFiles files(directory);
  host::makeKeySet(files);
  files.keep();
}

TEST(KeySet, IsAllThatAProtectedRecordingNeeds) {
  const test::TempDirectory root;
  const std::string directory = root.file("more/keys");
  makeKeys(directory);

  host::Settings settings;
  settings.readFile(directory + "/recording.conf");
  host::OpenContext openContext(settings);
  const auto context = ruvo::k2r::readEncryptorContext(openContext);
  const auto block = ruvo::k2r::generateProtectionMetadata(context);
  const auto key = krvo::encryption::readPrivateKey(host::readSmallFile(directory + "/license-server.key"));
  const auto metadata = krvo::encryption::verifyMetadataBlock(block.bytes());
  const auto contentKey = krvo::encryption::openContentKey(metadata, *key);
  EXPECT_TRUE(std::ranges::equal(contentKey.bytes(), host::readSmallFile(directory + "/common.key")));
  EXPECT_EQ(metadata.content.statement.contentId, context.contentId());
}

TEST(KeySet, KeepsItsSecretsToTheOwner) {
  const test::TempDirectory root;
  makeKeys(root.file("keys"));
  for (const char* name : {"common.key", "license-server.key", "transport.key", "packager.p12", "recording.conf"}) {
    EXPECT_EQ(fs::status(root.file("keys/" + std::string(name))).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << name;
  }
}

TEST(KeySet, NeverTouchesADirectoryThatHoldsAnything) {
  const test::TempDirectory root;
  makeKeys(root.file("keys"));
  const auto before = host::readSmallFile(root.file("keys/common.key"));
  EXPECT_THROW(makeKeys(root.file("keys")), host::CommandError);
  EXPECT_EQ(host::readSmallFile(root.file("keys/common.key")), before);
}

TEST(KeySet, LeavesNothingWhereItCannotBeWhole) {
  const test::TempDirectory root;
  EXPECT_THROW(makeKeys(root.file("not #settable")), host::UsageError);
  EXPECT_FALSE(fs::exists(root.file("not #settable")));

  fs::create_directory(root.file("kept"));
  {
    NewFiles files(root.file("kept"));
    files.write("one", {}, NewFiles::Access::kEveryone);
    EXPECT_THROW(files.write("one", {}, NewFiles::Access::kEveryone), host::CommandError);
  }
  EXPECT_TRUE(fs::is_empty(root.file("kept")));
}

}  // namespace
