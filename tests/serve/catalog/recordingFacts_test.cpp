#include "host/serve/catalog/RecordingFacts.h"

#include "tests/serve/catalog/storedRecordings.h"

namespace host::serve {
namespace {

using namespace test;
namespace fs = std::filesystem;

/// "finished 0-4000 6000-12000": the state, and the stretches with media in ms from the begin.
std::string describe(const RecordingFacts& facts, std::int64_t beginMs) {
  std::string text = std::string(recordingStateText(facts.state)) + " 0-";
  for (const TimeSpan& gap : facts.gaps) text += fmt::format("{} {}-", gap.beginMs - beginMs, gap.endMs - beginMs);
  return text + fmt::format("{}", facts.endMs - beginMs);
}

class RecordingFactsTest : public testing::Test {
 protected:
  std::string factsOf(const MadeRecording& made) {
    const fs::path path = store(made, root_.path(), "cam1", recordingNameText(kName));
    const RecordingFacts facts = readFacts((root_.path() / "cam1").string(), kName);
    std::uint64_t bytes = 0;
    for (const auto& file : fs::directory_iterator(path)) bytes += file.file_size();
    EXPECT_EQ(facts.bytes, bytes);
    fs::remove_all(path);
    return describe(facts, kName.beginMs);
  }

  static constexpr RecordingName kName{.beginMs = kTwoOClock};
  TempDirectory root_;
};

TEST_F(RecordingFactsTest, AreTheTimesOfTheSamples) {
  const auto from = [](std::uint32_t time) { return stream().keyFramesEvery(2000).framesEvery(500).from(time); };
  const auto later = [&](std::uint32_t time) { return from(time).withoutHeaders(); };
  const std::map<std::string, std::string> rolling{{"Recording/SegmentDuration", "7000"}};
  const std::tuple<const char*, RecordingPlan, const char*> rows[] = {
      {"from its first sample on, not from 0", {.messages = from(8000).until(20001)}, "finished 0-12000"},
      {"over segments", {.messages = from(0).until(30001), .settings = rolling}, "finished 0-28000"},
      {"interrupted", {.messages = from(0).until(12001), .stop = false}, "interrupted 0-12000"},
      {"sound alone", {.messages = stream().audio(20).until(8001)}, "finished 0-8000"},
      {"one gap of few fragments",
       {.messages = from(0).until(4501) + later(24000).until(32001)},
       "finished 0-5000 24000-32000"},
      {"a gap after the first picture",
       {.messages = from(0).until(1) + later(24000).until(32001)},
       "finished 0-1000 24000-32000"},
      {"two gaps of many, over a roll-over",
       {.messages = from(0).until(60001) + later(68000).until(102001) + later(140000).until(160001),
        .settings = rolling},
       "finished 0-60500 68000-102500 140000-160000"},
      {"key frames rarer than the grid", {.messages = av(10000).until(40001)}, "finished 0-30100"}};
  for (const auto& [why, plan, expected] : rows) EXPECT_EQ(factsOf(MadeRecording(plan)), expected) << why;
}

TEST_F(RecordingFactsTest, SayWhatCannotBeRead) {
  const auto plan = RecordingPlan{.messages = av().until(12001)};
  const std::tuple<const char*, std::function<void(const MadeRecording&)>, const char*> rows[] = {
      {"a bootstrap that was cut", [](auto& made) { made.write(".bootstrap", made.read(".bootstrap").substr(0, 40)); },
       "damaged 0-12600"},
      {"an index that was cut", [](auto& made) { made.write("Seg1.k2i", "k2i"); }, "damaged 0-0"},
      {"a segment that is gone", [](auto& made) { made.remove("Seg1.k2r"); }, "damaged 0-0"},
      {"a segment without its end", [](auto& made) { made.write("Seg1.k2r", made.read("Seg1.k2r").substr(0, 3000)); },
       "damaged 0-0"},
      {"a stop that was interrupted before the last box of the segment",
       [](auto& made) { made.write("Seg1.k2r", made.read("Seg1.k2r").substr(0, made.read("Seg1.k2r").size() - 16)); },
       "interrupted 0-12600"},
      {"a time beyond all",
       [](auto& made) { made.changeIndex("Seg1.k2i", [](auto& entries) { entries.back().time = UINT64_MAX; }); },
       "finished 0-8400"},
      {"nothing but a control file",
       [](auto& made) {
         for (const char* const suffix : {".bootstrap", "Seg1.k2r", "Seg1.k2i", ".meta"}) made.remove(suffix);
       },
       "interrupted 0-0"}};
  for (const auto& [why, damage, expected] : rows) {
    const MadeRecording made(plan);
    damage(made);
    EXPECT_EQ(factsOf(made), expected) << why;
  }
}

TEST_F(RecordingFactsTest, AreNoneOfForeignDirectories) {
  const std::tuple<const char*, std::function<void(const fs::path&)>> rows[] = {
      {"another file", [](const fs::path& path) { writeWholeFile(path / "notes.txt", "mine"); }},
      {"a folder", [](const fs::path& path) { fs::create_directory(path / "old"); }},
      {"a link with the name of a segment",
       [](const fs::path& path) { fs::create_symlink("/etc/passwd", path / (path.filename().string() + "Seg2.k2r")); }},
      {"itself a link", [](const fs::path& path) {
         fs::rename(path, path.string() + ".real");
         fs::create_symlink(path.string() + ".real", path);
       }}};
  for (const auto& [why, change] : rows) {
    const TempDirectory root;
    change(store(finishedRecording(), root.path(), "cam1", recordingNameText(kName)));
    EXPECT_EQ(readFacts((root.path() / "cam1").string(), kName).kind, RecordingFacts::Kind::kForeign) << why;
  }
  EXPECT_EQ(readFacts("/nowhere", kName).kind, RecordingFacts::Kind::kMissing);
}

}  // namespace
}  // namespace host::serve
