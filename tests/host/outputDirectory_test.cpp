// Where a recording goes, from which time on it is continued, and what the module asks of its files.

#include "host/OutputDirectory.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "fragmentation/FragmentationConfig.h"
#include "host/FileContext.h"
#include "host/HeldPlace.h"
#include "host/OpenContext.h"
#include "host/errors.h"
#include "host/files/smallFiles.h"
#include "host/record/RecordingEnd.h"
#include "tests/host/hostTools.h"

namespace {

/// What another process does just before the next lock is taken.
std::function<void()> beforeLock;

}  // namespace

int flock(int descriptor, int operation) noexcept {
  if (const auto action = std::exchange(beforeLock, {})) action();
  return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

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
  const std::tuple<const char*, bool, bool, bool> rows[] = {
      {"missing", true, true, true},  {"empty", true, true, true},        {"recording", false, true, true},
      {"started", false, true, true}, {"annotated", false, true, false},  {"other", false, false, false},
      {"file", false, false, false},  {"file/below", false, false, false}};
  for (const auto& [name, fresh, append, overwrite] : rows) {
    for (const auto& [mode, isAllowed] :
         {std::pair(OpenMode::kNew, fresh), {OpenMode::kAppend, append}, {OpenMode::kOverwrite, overwrite}}) {
      const auto require = [&, place = place(name), asked = mode] { place.require(asked); };
      if (isAllowed) {
        require();
      } else {
        EXPECT_THROW(require(), CommandError) << name;
      }
    }
  }
}

TEST_F(OutputDirectoryTest, IsLockedAsItIsThereThen) {
  const OutputDirectory cam = place("cam1");
  std::filesystem::create_directory(cam.native());
  beforeLock = [&] {
    std::filesystem::rename(cam.native(), cam.aside());
    std::filesystem::create_directory(cam.native());
  };
  test::LogCapture capture;
  const HeldPlace held(cam, Durability::kProcess, capture.log());
  EXPECT_EQ(DirectoryLock(cam.native()).state(), DirectoryLock::State::kTaken);
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
    const auto end = readRecordingEnd(OutputDirectory(directory.file("cam1")),
                                      ruvo::k2r::readFragmentationConfig(openContext).fragmentDuration);
    return end ? std::optional(end->continueMs) : std::nullopt;
  };
  EXPECT_EQ(timeWith(twoSeconds), std::nullopt) << "no bootstrap";
  const std::tuple<std::uint64_t, std::uint32_t, std::uint32_t, const char*, std::uint32_t> rows[] = {
      {8000, 1, 4, twoSeconds, 8000},
      {7999, 1, 4, twoSeconds, 8000},
      {8001, 1, 4, twoSeconds, 10000},  // the last fragment runs over its slot
      {8000, 1, 5, twoSeconds, 10000},  // the bootstrap of the last one was not written any more
      {0, 1, 0, twoSeconds, 0},
      {0x100000010, 1, 0, twoSeconds, 704},  // a grid line behind the wrap of 32 bits
      {5000, 2, 9, threeSeconds, 27000},
      {5000, 10, 3, threeSeconds, 9000}};  // the tenth segment comes behind the second
  for (const auto& [endMs, segment, lastFragment, settings, timeMs] : rows) {
    ruvo::k2r::BootstrapInfo info;
    info.currentMediaTime = endMs;
    replaceSmallFile(directory.file("cam1/cam1.bootstrap"), imageOf(info));
    ruvo::k2r::AfraIndex index;
    for (std::uint32_t number = 1; number <= lastFragment; ++number) {
      index.globalEntries.emplace_back((number - 1) * 2000, segment, number, 100, 0);
    }
    replaceSmallFile(directory.file("cam1/cam1Seg" + std::to_string(segment) + ".k2i"), imageOf(index));
    EXPECT_EQ(timeWith(settings), timeMs) << endMs;
  }
}

constexpr std::uint32_t kOldSegment = kIMOBinary | kIMOCreate | kIMOReadWrite;
constexpr std::uint32_t kNewSegment = kOldSegment | kIMOTruncate;

class FileContextTest : public testing::Test {
 protected:
  std::string modulePath(std::string_view name) const { return test::modulePath(directory_.path() / name); }
  std::string content(std::string_view name) const { return test::readWholeFile(directory_.path() / name); }
  bool exists(std::string_view name) const { return std::filesystem::exists(directory_.path() / name); }
  std::int32_t open(std::string_view name, std::uint32_t flags) {
    return files_.open(modulePath(name).c_str(), flags, 0x180, 0);
  }
  bool removes(std::string_view name) { return files_.remove(modulePath(name).c_str(), 3, 1) == 0; }

  test::TempDirectory directory_;
  test::LogCapture capture_;
  FileContext files_{Durability::kDevice, capture_.log()};
};

TEST_F(FileContextTest, WritesAndReadsAtPositionsOfOldAndNewFiles) {
  const std::int32_t handle = open("a", kNewSegment);
  ASSERT_GE(handle, 0);
  EXPECT_EQ(files_.write(handle, 3, "defg", 4), 4);
  EXPECT_EQ(files_.write(handle, 0, "abc", 3), 3);
  std::array<char, 8> buffer = {};
  EXPECT_EQ(files_.read(handle, 2, buffer.data(), 8), 5) << "up to the end";
  EXPECT_STREQ(buffer.data(), "cdefg");
  IMOFileStatus status;
  EXPECT_EQ(files_.fileStatus(handle, &status, 0), 0);
  EXPECT_EQ(status.size, 7);
  EXPECT_EQ(files_.pathStatus(modulePath("b").c_str(), &status, 0), -1);
  std::filesystem::create_symlink("loop", directory_.file("loop"));
  EXPECT_LT(files_.pathStatus(modulePath("loop").c_str(), &status, 0), -1) << "to the module -1 is a missing file";
  files_.close(handle, 0);
  files_.close(open("a", kOldSegment), 0);
  EXPECT_EQ(content("a"), "abcdefg");
  files_.close(open("a", kNewSegment), 0);
  EXPECT_EQ(content("a"), "");
}

TEST_F(FileContextTest, SaysWhyAFileFailed) {
  EXPECT_EQ(open("no/such/place", kNewSegment), -1);
  const std::int32_t full = files_.open("\\dev\\full", kIMOReadWrite | kIMOBinary, 0x180, 0);
  EXPECT_LT(files_.write(full, 0, "abc", 3), 1);
  files_.close(full, 0);
  char byte = 0;
  EXPECT_LT(files_.read(full, 0, &byte, 1), 1) << "a closed handle";
  IMOFileStatus status;
  EXPECT_EQ(files_.fileStatus(full, &status, 0), -1);
  EXPECT_EQ(capture_.text(), "error: cannot open '" + directory_.file("no/such/place") +
                                 "': No such file or directory\n"
                                 "error: cannot write all of '/dev/full': No space left on device\n"
                                 "error: cannot read 'file handle " +
                                 std::to_string(full) + "': Bad file descriptor\n");
}

TEST_F(FileContextTest, RemovesAWholeRecordingButNothingBesideForeignEntries) {
  namespace fs = std::filesystem;
  const auto recording = directory_.path() / "cam1";
  fs::create_directory(recording);
  for (const char* const suffix : {"Seg1.k2r", "Seg1.k2i", "Seg12.k2r", "Seg4294967295.k2i", ".bootstrap", ".control",
                                   ".meta", ".drmmeta", ".k2i.tmp", ".bootstrap.tmp"}) {
    test::writeWholeFile(recording / (std::string("cam1") + suffix), "x");
  }
  const auto expectKept = [&](const char* name) {
    EXPECT_FALSE(removes("cam1")) << name;
    EXPECT_TRUE(exists("cam1/cam1.bootstrap")) << name;
    fs::remove(recording / name);
  };
  for (const char* const name :
       {"notes.txt", "cam1", "cam1.mp4", "cam1.bootstrap.bak", "cam1Seg0.k2r", "cam1Seg01.k2r", "cam1Seg.k2r",
        "cam1Seg1.k2i.tmp", "cam1Seg4294967296.k2r", "cam1Seg-1.k2r", "cam2.bootstrap", "cam1seg1.k2r", "cam1Seg1 .k2r",
        "CAM1.bootstrap", ".bootstrap", "cam11Seg1.k2r.tmp"}) {
    test::writeWholeFile(recording / name, "x");
    expectKept(name);
  }
  // What has the name of a file, and is none.
  fs::remove(recording / "cam1.meta");
  fs::remove(recording / "cam1.control");
  test::writeWholeFile(directory_.path() / "outside", "x");
  fs::create_symlink(directory_.path() / "outside", recording / "cam1.meta");
  expectKept("cam1.meta");
  fs::create_directory(recording / "cam1.meta");
  expectKept("cam1.meta");
  ASSERT_EQ(::mkfifo((recording / "cam1.control").c_str(), 0600), 0);
  expectKept("cam1.control");

  fs::create_directory_symlink(recording, directory_.path() / "link");
  EXPECT_FALSE(removes("link")) << "a link in the directory's place";
  EXPECT_FALSE(removes("outside")) << "a file in the directory's place";
  EXPECT_EQ(content("outside"), "x");
  EXPECT_TRUE(removes("cam1"));
  EXPECT_FALSE(exists("cam1"));
  EXPECT_TRUE(removes("cam1")) << "gone is gone";
  EXPECT_EQ(files_.createDirectory(modulePath("rec/2024/cam1").c_str()), 0);
  EXPECT_EQ(files_.createDirectory(modulePath("rec/2024/cam1").c_str()), -1) << "it is there";
}

}  // namespace
}  // namespace host
