// A host whose services fail or throw: what record() returns, what is in the recording then, and that nothing leaves
// the module.

#include "tests/modules/OpenRecorder.h"

namespace {

using namespace test;

/// What is no std::exception comes out of an operation of the host's.
void throwAt(DiskFileContext& files, std::string_view operation) {
  files.permits = [operation](std::string_view called) { return called == operation ? throw 1 : true; };
}

/// Key frames every 8500, so that each is the first frame after a grid line and fragments are held.
std::vector<StreamMessage> offTheGrid(std::initializer_list<std::uint32_t> times) {
  std::vector<StreamMessage> messages;
  for (const auto time : times) messages.push_back(avcFrame(time, time % 4000 == 500 || time == 0, 100, time));
  return messages;
}

TEST(FullDisk, CostsTheMessageThatMeetsItUnlessItIsSentAgain) {
  const std::string failed = "error: K2M error: 3\n", noKey = "error: Tried to record fragment w/ no keyframe\n";
  const struct {
    const char* why;
    std::vector<StreamMessage> before;
    StreamMessage met;
    std::vector<StreamMessage> behind;
    /// Refused after it, and the index, where it is not sent again, and where it is.
    std::size_t lost;
    const char* lostIndex;
    const char* keptIndex;
  } rows[] = {{"a whole fragment is due", video().until(4000), avcFrame(4000, true, 100, 1),
               video().withoutHeaders().from(4040).until(16001), 0, "2@4000:written 3@8040:written",
               "2@4000:written 3@8040:written"},
              {"a held fragment is flushed: the lost key frame begins the next",
               std::vector{metadata(0), avcSequenceHeader(0)} + offTheGrid({0, 4000, 8500, 9000}),
               avcFrame(12500, true, 100, 1), offTheGrid({13000, 16500, 20500, 24500}), 2, "3@8000:written",
               "3@8000:written 4@12000:written 5@16000:written"}};
  for (const auto& row : rows) {
    for (const bool sentAgain : {false, true}) {
      SCOPED_TRACE(std::string(row.why) + (sentAgain ? ", sent again" : ""));
      DiskFileContext files;
      OpenRecorder recorder("", "", &files);
      ASSERT_EQ(recorder.record(row.before), 0U);
      files.permits = [](std::string_view operation) { return operation != "write"; };
      EXPECT_FALSE(recorder.record(row.met));
      EXPECT_TRUE(!sentAgain || recorder.record(row.met));
      files.permits = [](std::string_view) { return true; };
      EXPECT_EQ(recorder.record(row.behind), sentAgain ? 0U : row.lost);
      recorder.stop();
      EXPECT_EQ(recorder.index(), sentAgain ? row.keptIndex : row.lostIndex);
      EXPECT_EQ(recorder.log(), failed + (sentAgain || row.lost == 0 ? "" : noKey + noKey));
      EXPECT_EQ(occurrences(recorder.content("Seg1.k2r"), textOf(row.met.data)), sentAgain ? 1U : 0U);
    }
  }
}

TEST(FullDisk, KeepsTheMessageBehindAFragmentThatWasWritten) {
  for (const char* throwing : {"open", "pathStatus"}) {
    SCOPED_TRACE(throwing);
    DiskFileContext files;
    OpenRecorder recorder("Recording/SegmentDuration", "4000", &files);
    ASSERT_EQ(recorder.record(video().until(8000)), 0U);
    throwAt(files, throwing);
    EXPECT_TRUE(recorder.record(avcFrame(8000, true, 100, 1))) << "what failed is the segment that follows";
    throwAt(files, "");
    EXPECT_TRUE(recorder.log().starts_with("error: ")) << recorder.log();
    EXPECT_EQ(recorder.host.lines.size(), 1U);
    EXPECT_EQ(recorder.record(video().withoutHeaders().from(8040).until(16001)), 0U);
    recorder.stop();
    EXPECT_EQ(recorder.index(), "1@0:written 2@4000:written");
    EXPECT_EQ(recorder.index("Seg2"), "3@8000:written");
    EXPECT_NE(recorder.content("Seg1.k2r").find("moof"), std::string::npos) << "not begun anew";
  }
}

TEST(ThrowingHost, CannotGetAnExceptionOutOfAnyOperation) {
  using Step = bool (*)(OpenRecorder&);
  const Step open = [](OpenRecorder& recorder) { return recorder.open(kAppend); };
  const Step record = [](OpenRecorder& recorder) { return recorder.record(avcFrame(4000, true, 100, 1)); };
  const Step refused = [](OpenRecorder& recorder) { return recorder.record({22, 4000, {}}); };
  const Step stop = [](OpenRecorder& recorder) { return recorder.adaptor().stopRecord(recorder.handle()); };
  const Step stopWithoutDirectory = [](OpenRecorder& recorder) {
    std::filesystem::remove_all(recorder.directory());
    return recorder.adaptor().stopRecord(recorder.handle());
  };
  const Step erase = [](OpenRecorder& recorder) { return recorder.adaptor().erase(recorder.handle()); };
  const Step close = [](OpenRecorder& recorder) { return recorder.close(), true; };
  const Step create = [](OpenRecorder& recorder) {
    IMOStreamAdaptor* made = &recorder.adaptor();
    const bool created = loadModule()(&recorder.host, &made);
    return created || made != nullptr;
  };
  // What throws, the end of the stream before, the step, and what it returns and logs.
  const std::tuple<const char*, std::uint32_t, Step, bool, const char*> rows[] = {
      {"readConfiguration", 1, create, false, ""},
      {"property", 1, open, false, "error: Unknown Error in init()\n"},
      {"remove", 1, open, false, "error: Unknown Error in init()\n"},
      {"write", 4000, record, false, "error: K2M error: 1\n"},
      {"log", 1, refused, false, ""},
      {"close", 4001, stop, true, ""},
      {"log", 4001, stopWithoutDirectory, true, ""},
      {"remove", 1, erase, false, "error: Unknown Error in erase()\n"},
      {"close", 4001, close, true, "error: Unknown Error in close()\n"}};
  for (const auto& [throwing, until, step, answer, log] : rows) {
    SCOPED_TRACE(throwing);
    DiskFileContext files;
    OpenRecorder recorder("", "", &files);
    ASSERT_EQ(recorder.record(video().until(until)), 0U);
    throwAt(files, recorder.host.throwing = throwing);
    EXPECT_EQ(step(recorder), answer);
    EXPECT_EQ(recorder.log(), log);
    throwAt(files, recorder.host.throwing = "");
  }
}

}  // namespace
