#include "host/serve/catalog/StorageRoots.h"

#include <gmock/gmock.h>

#include "tests/host/hostTools.h"

namespace host::serve {
namespace {

using namespace test;
namespace fs = std::filesystem;

class StorageRootsTest : public testing::Test {
 protected:
  std::string claim(StorageRoots& roots) { return roots.claim(root_, log_.log()); }

  TempDirectory directory_;
  const std::string root_ = directory_.file("disk/root");
  const std::string state_ = directory_.file("state");
  const std::string marker_ = root_ + "/.k2r/root";
  LogCapture log_;
};

TEST_F(StorageRootsTest, MarksARootThatIsUsedForTheFirstTime) {
  StorageRoots roots(state_);
  EXPECT_EQ(claim(roots), "");
  EXPECT_TRUE(fs::is_regular_file(marker_));
  EXPECT_EQ(claim(roots), "");
  // Also one of another machine, or one with other files.
  StorageRoots others(directory_.file("other"));
  fs::create_directory(directory_.file("full"));
  writeWholeFile(directory_.file("full/picture"), "");
  EXPECT_EQ(others.claim(directory_.file("full"), log_.log()), "");
}

TEST_F(StorageRootsTest, RefusesARootThatHasLostItsMarker) {
  for (const char* const what : {"the disk is away", "and its mount point, too"}) {
    std::optional<StorageRoots> roots(std::in_place, state_);
    ASSERT_EQ(claim(*roots), "");
    fs::rename(root_, root_ + ".away");
    if (what[0] == 't') fs::create_directory(root_);
    EXPECT_THAT(claim(*roots), testing::HasSubstr("its disk is away")) << what;
    // After a restart as well.
    roots.emplace(state_);
    EXPECT_THAT(claim(*roots), testing::HasSubstr(marker_)) << what;
    EXPECT_FALSE(fs::exists(marker_)) << what;
    fs::remove_all(root_);
    fs::rename(root_ + ".away", root_);
    EXPECT_EQ(claim(*roots), "") << what;
  }
}

TEST_F(StorageRootsTest, KeepsARootForOneProcess) {
  StorageRoots roots(state_);
  ASSERT_EQ(claim(roots), "");
  StorageRoots others(state_);
  EXPECT_THAT(claim(others), testing::HasSubstr("is in use"));
}

TEST_F(StorageRootsTest, SaysWhyARootCannotBeMade) {
  writeWholeFile(directory_.file("disk"), "");
  StorageRoots roots("");
  EXPECT_THAT(claim(roots), testing::HasSubstr("Not a directory"));
}

}  // namespace
}  // namespace host::serve
