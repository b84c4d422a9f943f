// Where a recording goes, and from which time on it is continued.

#include "host/OutputDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/OpenContext.h"
#include "host/continuation.h"
#include "host/errors.h"
#include "host/files/smallFiles.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace host {
namespace {

class OutputDirectoryTest : public testing::Test {
 protected:
  OutputDirectoryTest() : root_(std::filesystem::canonical(directory_.path())) {}

  void put(const std::string& name, const std::string& content = "x") {
    std::filesystem::create_directories((root_ / name).parent_path());
    test::writeWholeFile(root_ / name, content);
  }
  OutputDirectory place(const std::string& name) const { return OutputDirectory((root_ / name).string()); }

  test::TempDirectory directory_;
  std::filesystem::path root_;
};

TEST_F(OutputDirectoryTest, MakesAnAbsoluteModulePathWhereThereCanBeOne) {
  std::filesystem::create_directories(root_ / "rec");
  std::filesystem::create_directory_symlink(root_ / "rec", root_ / "latest");
  for (const char* const given : {"rec/cam1", "rec/cam1/", "rec/cam1//", "rec/./x/../cam1", "latest/cam1"}) {
    EXPECT_EQ(place(given).modulePath(), test::modulePath(root_ / "rec/cam1")) << given;
    EXPECT_EQ(place(given).stem(), "cam1") << given;
  }
  EXPECT_EQ(OutputDirectory("cam1").native(), (std::filesystem::current_path() / "cam1").string());
  for (const char* const given : {"", "/", "//", "/..", "a\\b", "c\\d/cam1"}) {
    EXPECT_THROW(OutputDirectory{given}, UsageError) << given;
  }
}

TEST_F(OutputDirectoryTest, ChecksWhatIsThere) {
  put("recording/recording.bootstrap");
  put("recording/recordingSeg1.k2r");
  put("started/started.control");
  put("annotated/annotated.bootstrap");
  put("annotated/notes.txt");
  put("other/notes.txt");
  put("file");
  std::filesystem::create_directory(root_ / "empty");
  const struct {
    const char* name;
    bool fresh, append, overwrite;
  } rows[] = {{"missing", true, true, true},  {"empty", true, true, true},        {"recording", false, true, true},
              {"started", false, true, true}, {"annotated", false, true, false},  {"other", false, false, false},
              {"file", false, false, false},  {"file/below", false, false, false}};
  const auto allows = [&](const char* name, OpenMode mode) {
    try {
      place(name).require(mode);
      return true;
    } catch (const CommandError&) {
      return false;
    }
  };
  for (const auto& row : rows) {
    EXPECT_EQ(allows(row.name, OpenMode::kNew), row.fresh) << row.name;
    EXPECT_EQ(allows(row.name, OpenMode::kAppend), row.append) << row.name;
    EXPECT_EQ(allows(row.name, OpenMode::kOverwrite), row.overwrite) << row.name;
  }
}

TEST(Continuation, IsTheGridLineBehindTheEndOfBootstrapAndLastIndex) {
  const char* const twoSeconds = "Recording/FragmentDuration = 2000";
  const char* const threeSeconds = "Recording/FrameRate = 25\nRecording/FramesPerKeyframeInterval = 75";
  const test::TempDirectory directory;
  std::filesystem::create_directory(directory.path() / "cam1");
  const auto timeWith = [&](const char* lines) {
    Settings settings;
    settings.readText(lines, "settings");
    OpenContext openContext(settings);
    return continuationTime(OutputDirectory(directory.file("cam1")), openContext);
  };
  EXPECT_EQ(timeWith(twoSeconds), std::nullopt) << "no bootstrap";
  const struct {
    std::uint64_t endMs;
    std::uint32_t segment, lastFragment;
    const char* settings;
    std::uint32_t timeMs;
  } rows[] = {{8000, 1, 4, twoSeconds, 8000},
              {7999, 1, 4, twoSeconds, 8000},
              {8001, 1, 4, twoSeconds, 10000},  // the last fragment runs over its slot
              {8000, 1, 5, twoSeconds, 10000},  // the bootstrap of the last one was not written any more
              {0, 1, 0, twoSeconds, 0},
              {0x100000010, 1, 0, twoSeconds, 704},  // a grid line behind the wrap of 32 bits
              {5000, 2, 9, threeSeconds, 27000},
              {5000, 10, 3, threeSeconds, 9000}};  // the tenth segment comes behind the second
  for (const auto& row : rows) {
    ruvo::k2r::BootstrapInfo info;
    info.currentMediaTime = row.endMs;
    replaceSmallFile(directory.file("cam1/cam1.bootstrap"), imageOf(info));
    ruvo::k2r::AfraIndex index;
    for (std::uint32_t number = 1; number <= row.lastFragment; ++number) {
      index.globalEntries.emplace_back((number - 1) * 2000, row.segment, number, 100, 0);
    }
    replaceSmallFile(directory.file("cam1/cam1Seg" + std::to_string(row.segment) + ".k2i"), imageOf(index));
    EXPECT_EQ(timeWith(row.settings), row.timeMs) << row.endMs;
  }
}

}  // namespace
}  // namespace host
