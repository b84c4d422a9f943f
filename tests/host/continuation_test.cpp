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

namespace host {
namespace {

class ContinuationTest : public testing::Test {
 protected:
  ContinuationTest() { std::filesystem::create_directory(directory_.path() / "cam1"); }

  void put(const std::string& suffix, std::span<const std::byte> bytes) {
    replaceSmallFile(directory_.file("cam1/cam1" + suffix), bytes);
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
  /// What the settings, a line each, make of what is there.
  std::optional<std::uint32_t> timeWith(const char* lines) {
    Settings settings;
    settings.readText(lines, "settings");
    OpenContext openContext(settings);
    return continuationTime(OutputDirectory(directory_.file("cam1")), openContext);
  }

  test::TempDirectory directory_;
};

TEST_F(ContinuationTest, IsTheGridLineBehindTheEnd) {
  const struct {
    std::uint64_t endMs;
    std::uint32_t lastFragment, timeMs;
  } rows[] = {{8000, 4, 8000},  {7999, 4, 8000},      {8001, 4, 10000},  // the last fragment runs over its slot
              {8000, 5, 10000},                          // the bootstrap of the last one was not written any more
              {0, 0, 0},        {0x100000010, 0, 704}};  // a grid line behind the wrap of 32 bits
  for (const auto& row : rows) {
    putBootstrap(row.endMs);
    putIndex(1, row.lastFragment);
    EXPECT_EQ(timeWith("Recording/FragmentDuration = 2000"), row.timeMs) << row.endMs;
  }
}

TEST_F(ContinuationTest, GoesByBootstrapLastIndexAndSettings) {
  putIndex(2, 9);
  EXPECT_EQ(timeWith(""), std::nullopt) << "no bootstrap";
  putBootstrap(5000);
  putIndex(10, 3);
  EXPECT_EQ(timeWith("Recording/FrameRate = 25\nRecording/FramesPerKeyframeInterval = 75"), 9000u)
      << "three fragments of 3 s in the tenth segment";
}

}  // namespace
}  // namespace host
