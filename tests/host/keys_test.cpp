#include <gtest/gtest.h>

#include <filesystem>

#include "host/errors.h"
#include "host/files/smallFiles.h"
#include "host/keys/keySet.h"
#include "tests/support/TempDirectory.h"

namespace {

namespace fs = std::filesystem;
using host::NewFiles;

void makeKeys(const std::string& directory) {
  NewFiles files(directory);
  host::makeKeySet(files);
  files.keep();
}

TEST(KeySet, IsForTheOwnerAloneAndNeverReplaced) {
  const test::TempDirectory root;
  makeKeys(root.file("keys"));
  const auto key = host::readSmallFile(root.file("keys/common.key"));
  for (const char* name : {"common.key", "license-server.key", "transport.key", "packager.p12", "recording.conf"}) {
    EXPECT_EQ(fs::status(root.file("keys/" + std::string(name))).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << name;
  }
  EXPECT_THROW(makeKeys(root.file("keys")), host::CommandError) << "they are there";
  EXPECT_EQ(host::readSmallFile(root.file("keys/common.key")), key);
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
