// Opening, stopping, erasing, closing and continuing; the module's fixed results.

#include <boost/algorithm/string/replace.hpp>

#include "tests/modules/OpenRecorder.h"

namespace {

using namespace test;

/// Does not return the status of one path.
struct StubbornFiles : DiskFileContext {
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) override {
    return path == untold ? -5 : DiskFileContext::pathStatus(path, status, reserved);
  }
  std::string untold;
};

TEST(Opening, RefusesBadSettingsAndFlags) {
  const std::tuple<const char*, const char*, std::uint32_t, const char*> rows[] = {
      {"", "", 0, ""},
      {"Recording/FragmentDuration", "0", kOpenRecord, "error: invalid fragment duration specified\n"},
      {"Recording/FragmentDuration", " 4000", kOpenRecord, "error: Unknown Error in init()\n"},
      {"Recording/SegmentDuration", "soon", kOpenRecord, "error: Unknown Error in init()\n"}};
  for (const auto& [key, value, flags, log] : rows) {
    Recorder recorder(loadModule());
    std::filesystem::create_directories(recorder.directory());
    writeWholeFile(recorder.file(".bootstrap"), "old");
    recorder.host.settings[key] = value;
    EXPECT_FALSE(recorder.open(flags)) << key;
    EXPECT_EQ(recorder.handle(), nullptr);
    EXPECT_EQ(recorder.log(), log);
    EXPECT_EQ(recorder.files(), "cam1.bootstrap") << "what is there stays as it is";
  }
}

TEST(Opening, ErasesAnOldRecordingButReadsItsBaseFirst) {
  Recorder recorder(loadModule());
  std::filesystem::create_directories(recorder.directory());
  writeWholeFile(recorder.file(".control"), std::string("\0\0\x27\x10, and more", 14));
  writeWholeFile(recorder.file("Seg1.k2r"), "old");
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.files(), "");
  recorder.record(video().from(12000).until(16001));
  EXPECT_FALSE(recorder.has(".control"));
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 6000U) << "counted from the old base of 10000";
}

TEST(Opening, TriesTheRemovalAgain) {
  const std::tuple<const char*, int, int> rows[] = {{"0", 5, 1}, {"2", 5, 3}, {"4", 0, 1}};
  for (const auto& [retries, refused, removals] : rows) {
    DiskFileContext files;
    int asked = 0;
    files.permits = [&, most = refused](std::string_view called) { return called != "remove" || ++asked > most; };
    const OpenRecorder recorder("k2r/MaxEraseRetries", retries, &files);
    EXPECT_EQ(asked, removals) << "and the directory can be made all the same";
  }
}

TEST(Stopping, LeavesOnlyTheControlFileBeforeTheFirstFragmentAndNothingToAppendTo) {
  OpenRecorder recorder(video().until(3900));
  recorder.stopAndClose();
  EXPECT_EQ(recorder.files(), "cam1.control");
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_EQ(recorder.files(), "") << "begun anew";
}

TEST(Appending, GoesOnWhereTheIndexEnds) {
  for (const bool stopped : {true, false}) {
    SCOPED_TRACE(stopped ? "stopped" : "cut off");
    OpenRecorder recorder(video().audio(23).until(8001));
    if (stopped) recorder.stop();
    recorder.close();
    const std::string before = recorder.content("Seg1.k2r");

    ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
    EXPECT_EQ(recorder.bootstrap(), "1x2 | 1@0+4000") << "no end is marked any more";
    // Two seconds of lead-in before the grid, then whole fragments.
    EXPECT_EQ(recorder.record(video().audio(23).withoutHeaders().from(18000).until(28001)), 0U);
    recorder.stop();
    EXPECT_EQ(recorder.index(),
              "1@0:written 2@4000:written 3@20000:none 4@20000:none 5@20000:none 6@20000:written 7@24000:written");
    EXPECT_EQ(recorder.bootstrap(), "1x7 | 1@0+4000 3@0!jump 6@20000+4000 end");
    EXPECT_EQ(recorder.duration(), 28000U);
    EXPECT_EQ(recorder.log(), "");
    // The table at the old end is the only thing that may go.
    const std::string kept = stopped ? before.substr(0, before.find("mfra") - 4) : before;
    EXPECT_TRUE(recorder.content("Seg1.k2r").starts_with(kept));
  }
}

TEST(Appending, RefusesMessagesOfOtherTracks) {
  OpenRecorder recorder(video().until(4001));
  recorder.stopAndClose();
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_TRUE(recorder.record(metadata(8000)));
  EXPECT_FALSE(recorder.record(metadata(8000))) << "there is no track for another one";
  EXPECT_FALSE(recorder.record(aacSequenceHeader(8000)));
  EXPECT_FALSE(recorder.record({9, 8000, {std::byte{0x14}, std::byte{0}, std::byte{1}}}));
  EXPECT_TRUE(recorder.record(avcSequenceHeader(8000)));
  EXPECT_EQ(recorder.log(), "error: Track not found.\nerror: Track not found.\nerror: Invalid codec.\n");
}

TEST(Appending, RefusesWhatItCannotReadAndSaysWhat) {
  const std::string noBox("\0\0\0\x10xxxx\0\0\0\0\0\0\0\0", 16);
  const std::string noRuns = std::string("\0\0\0\x2c", 4) + "abst" + std::string(36, '\0');
  const std::string missing = "missing", untold = "untold",
                    directory = "a directory, which is there and cannot be read";
  const std::string unknown = "error: Unknown Error in initAppend()\n";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {".bootstrap", noBox, "error: Could not parse bootstrap info\n"},
      {".bootstrap", noRuns, "error: Failed to load segment run entries.\n"},
      {".bootstrap", "", "error: Failed to read file 'FILE': it ends too early\n" + unknown},
      {".bootstrap", directory, "error: Failed to read file 'FILE': Is a directory\n" + unknown},
      {".bootstrap", untold, "error: Failed to read file 'FILE': the host answers -5\n"},
      {"Seg1.k2i", noBox, "error: Could not parse afra index\n"},
      {"Seg1.k2i", missing, "error: Failed to read file 'FILE': No such file or directory\n" + unknown},
      {".control", directory, "error: Failed to read file 'FILE': Is a directory\n"},
      {"Seg1.k2r", "", "error: Failed to continue file 'FILE': K2M error 5\n"},
      {"Seg1.k2r", directory, "error: Failed to read file 'FILE': the host does not open it\n" + unknown}};
  for (const auto& [name, content, log] : rows) {
    StubbornFiles services;
    OpenRecorder recorder("k2r/MaxEraseRetries", "0", &services);
    recorder.record(video().until(4001));
    recorder.close();
    const auto file = recorder.file(name);
    auto others = readAllFiles(recorder.directory());
    others.erase(file.filename());
    std::filesystem::remove(file);
    if (content == untold) services.untold = modulePath(file);
    if (content == directory) std::filesystem::create_directory(file);
    if (content != directory && content != missing) writeWholeFile(file, content);
    EXPECT_FALSE(recorder.open(kAppend)) << name << content;
    EXPECT_EQ(boost::replace_all_copy(recorder.log(), modulePath(file), "FILE"), log) << name;
    std::filesystem::remove(file);
    EXPECT_EQ(readAllFiles(recorder.directory()), others) << name << content;
  }
}

TEST(Appending, LetsTheSegmentGrowByNoMoreThanWhatComesOfAClockThatBeganAnew) {
  OpenRecorder recorder(video().until(44001));
  recorder.stopAndClose();
  const std::string index = recorder.content("Seg1.k2i"), segment = recorder.content("Seg1.k2r");
  ASSERT_TRUE(recorder.open(kAppend));
  const auto messages = stream().keyFramesEvery(4000).frameBytes(3000).withoutHeaders().until(40001);
  EXPECT_EQ(recorder.record(messages), 10U) << "each time that a fragment is due";
  EXPECT_EQ(recorder.host.lines, std::vector<std::string>(10, "error: afra index is corrupt, failing the record"));
  recorder.stop();
  EXPECT_EQ(recorder.content("Seg1.k2i"), index);
  // All but the last message, which is queued when the stop comes.
  const auto grown = static_cast<double>(recorder.content("Seg1.k2r").size() - segment.size());
  EXPECT_NEAR(grown / 3000, static_cast<double>(messages.size() - 1), 60) << "the boxes around them included";
}

TEST(Erasing, RemovesTheDirectory) {
  OpenRecorder recorder(video().until(4001));
  recorder.stop();
  EXPECT_TRUE(recorder.adaptor().erase(recorder.handle()));
  EXPECT_FALSE(std::filesystem::exists(recorder.directory()));
}

TEST(Adaptor, ReturnsItsAttributes) {
  OpenRecorder recorder(video().until(4001));
  const std::tuple<std::uint32_t, std::uint32_t, bool, std::uint32_t, std::uint64_t> rows[] = {
      {1, 4, true, 4, 0x1111111100000000},
      {2, 4, true, 4, 0x1111111100000FA0},
      {3, 4, false, 8, 0x1111111111111111},
      {3, 8, true, 8, 0},
      {4, 9, false, 0, 0x1111111111111111}};
  for (const auto& [type, given, found, lengthAfter, expected] : rows) {
    std::uint64_t value = 0x1111111111111111;
    std::uint32_t length = given;
    const bool answer =
        recorder.adaptor().getAttribute(recorder.handle(), static_cast<AttrType_t>(type), &value, length);
    EXPECT_EQ(std::tuple(answer, length, value), std::tuple(found, lengthAfter, expected)) << type;
  }
}

}  // namespace
