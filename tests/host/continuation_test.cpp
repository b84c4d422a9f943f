#include "host/continuation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/OpenContext.h"
#include "host/files/smallFiles.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace host {
namespace {

class ContinuationTest : public testing::Test {
 protected:
  void put(const std::string& suffix, std::span<const std::byte> bytes) {
    std::filesystem::create_directories(directory_.path() / "cam1");
    test::writeWholeFile(directory_.path() / "cam1" / ("cam1" + suffix),
                         {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  void putBootstrap(std::uint64_t endMs) {
    ruvo::k2r::BootstrapInfo info;
    info.currentMediaTime = endMs;
    put(".bootstrap", imageOf(info));
  }
  void putIndex(std::uint32_t segment, std::uint32_t lastFragment) {
    ruvo::k2r::AfraIndex index;
    for (std::uint32_t number = 1; number <= lastFragment; ++number) {
      index.globalEntries.emplace_back((number - 1) * 2000, segment, number, 100, 0);
    }
    put("Seg" + std::to_string(segment) + ".k2i", imageOf(index));
  }
  std::optional<std::uint32_t> time() {
    return continuationTime(OutputDirectory(directory_.file("cam1")), openContext_);
  }

  test::TempDirectory directory_;
  Settings settings_;
  OpenContext openContext_{settings_};
};

TEST_F(ContinuationTest, IsTheGridLineBehindTheEnd) {
  settings_.assign("Recording/FragmentDuration=2000");
  const struct {
    std::uint64_t endMs;
    std::uint32_t lastFragment, timeMs;
  } rows[] = {{8000, 4, 8000},  {7999, 4, 8000},      {8001, 4, 10000},  // the last fragment runs over its slot
              {8000, 5, 10000},                          // the bootstrap of the last one was not written any more
              {0, 0, 0},        {0x100000010, 0, 704}};  // a grid line behind the wrap of 32 bits
  for (const auto& row : rows) {
    putBootstrap(row.endMs);
    putIndex(1, row.lastFragment);
    EXPECT_EQ(time(), row.timeMs) << row.endMs;
  }
}

TEST_F(ContinuationTest, GoesByTheLastIndexAndTheSettings) {
  settings_.assign("Recording/FrameRate=25");
  settings_.assign("Recording/FramesPerKeyframeInterval=75");
  putBootstrap(5000);
  putIndex(2, 9);
  putIndex(10, 3);
  EXPECT_EQ(time(), 9000u) << "three fragments of 3 s in the tenth segment";
}

TEST_F(ContinuationTest, NeedsABootstrap) {
  std::filesystem::create_directories(directory_.path() / "cam1");
  EXPECT_EQ(time(), std::nullopt);
  putIndex(1, 5);
  EXPECT_EQ(time(), std::nullopt);
}

}  // namespace
}  // namespace host
