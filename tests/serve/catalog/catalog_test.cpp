#include "host/serve/catalog/Catalog.h"

#include "host/DirectoryLock.h"
#include "host/serve/catalog/StreamRecordings.h"
#include "host/serve/catalog/removal.h"
#include "host/serve/catalog/repairStream.h"
#include "tests/serve/catalog/storedRecordings.h"

namespace host::serve {
namespace {

using namespace test;
namespace fs = std::filesystem;

class CatalogTest : public StoredRecordings {
 protected:
  void scan(Catalog& catalog) { StoredRecordings::scan(catalog, root()); }
  /// "14:00 finished, 15:00 recording" of all that a list of these hours has; in hours after the first.
  static std::string listed(const Catalog& catalog, const std::string& stream, double from = -10000,
                            double to = 10000) {
    std::string text;
    const auto time = [](double hour) { return kTwoOClock + static_cast<std::int64_t>(hour * kHourMs); };
    for (const RecordingInfo& info : catalog.list(stream, time(from), time(to))) {
      const double hour = static_cast<double>(info.time.beginMs - kTwoOClock) / kHourMs;
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", hour, recordingStateText(info.state));
    }
    return text;
  }
};

TEST_F(CatalogTest, KnowsTheRecordingsOfAllStreams) {
  put("cam1", 1);
  put("cam1", 0, interruptedRecording());
  put("cam1", 2.5);
  put("gone", 0);
  writeWholeFile(put("cam1", 3) / "mine.txt", "");
  fs::create_directory(directory_.path() / "cam1" / "20261125T14");
  fs::create_directory(directory_.path() / "Not a stream");
  fs::create_directory_symlink(directory_.path() / "gone", directory_.path() / "linked");
  Catalog catalog(world_);
  scan(catalog);
  EXPECT_EQ(catalog.streams(), (std::vector<std::string>{"cam1", "gone"}));
  EXPECT_EQ(listed(catalog, "cam1"), "0 interrupted, 1 finished, 2.5 finished");
  EXPECT_EQ(listed(catalog, "gone"), "0 finished");
  EXPECT_EQ(listed(catalog, "nobody"), "");
  EXPECT_EQ(catalog.totals("cam1").recordings, 3U);
  const auto info = catalog.find("cam1", atHour(1));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->time.endMs - info->time.beginMs, 12600);
  EXPECT_GT(info->bytes, 1000U);
  EXPECT_FALSE(catalog.find("cam1", atHour(3)));
  EXPECT_FALSE(catalog.find("cam1", "../cam1"));
}

TEST_F(CatalogTest, ListsWhatHasAnyTimeInTheSpan) {
  for (const double hour : {0, 1, 2}) put("cam1", hour);
  Catalog catalog(world_);
  scan(catalog);
  constexpr double kSecond = 1.0 / 3600;
  EXPECT_EQ(listed(catalog, "cam1", 0, 1), "0 finished");
  EXPECT_EQ(listed(catalog, "cam1", 11 * kSecond, 1 + kSecond), "0 finished, 1 finished");
  EXPECT_EQ(listed(catalog, "cam1", 13 * kSecond, 2), "1 finished");
  EXPECT_EQ(listed(catalog, "cam1", 2 + 13 * kSecond), "");
}

TEST_F(CatalogTest, ReadsWhatTheScanHasNotReached) {
  for (const double hour : {0, 1, 2}) put("cam1", hour);
  StreamRecordings recordings("cam1", folder("cam1"));
  const auto list = recordings.list(kTwoOClock + 2000, kTwoOClock + 2 * kHourMs, 0);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list.front().time.endMs, kTwoOClock + 12600);
  // The third one was not asked for.
  EXPECT_EQ(recordings.unread().size(), 1U);
}

TEST_F(CatalogTest, FollowsWhatIsRecorded) {
  fs::create_directory(directory_.path() / "cam1");
  Catalog catalog(world_);
  catalog.addStream("cam1", folder("cam1"));
  fs::create_directory(path("cam1", 0));
  catalog.began(at(0));
  EXPECT_EQ(listed(catalog, "cam1"), "0 recording");
  EXPECT_EQ(catalog.find("cam1", atHour(0))->bytes, 0U);
  // As if it had grown to this.
  fs::remove(path("cam1", 0));
  put("cam1", 0, interruptedRecording());
  catalog.grew(at(0));
  EXPECT_EQ(listed(catalog, "cam1"), "0 recording");
  EXPECT_EQ(catalog.find("cam1", atHour(0))->time.endMs, kTwoOClock + 12600);
  const std::uint64_t bytes = catalog.totals("cam1").bytes;
  EXPECT_GT(bytes, 1000U);
  const fs::path segment = path("cam1", 0) / (atHour(0) + "Seg1.k2r");
  writeWholeFile(segment, readWholeFile(segment) + "0123456789");
  catalog.grew(at(0));
  EXPECT_EQ(catalog.totals("cam1").bytes, bytes + 10);
  fs::remove_all(path("cam1", 0));
  put("cam1", 0);
  catalog.finished(at(0), false);
  EXPECT_NE(catalog.totals("cam1").bytes, bytes + 10);
  catalog.began(at(1));
  EXPECT_EQ(listed(catalog, "cam1"), "0 finished, 1 recording");
  catalog.finished(at(1), true);
  EXPECT_EQ(listed(catalog, "cam1"), "0 finished");
}

TEST_F(CatalogTest, SeesWhatOthersPutThereAndTake) {
  put("cam1", 0);
  Catalog catalog(world_);
  scan(catalog);
  put("cam1", 1);
  fs::remove_all(path("cam1", 0));
  EXPECT_EQ(listed(catalog, "cam1"), "1 finished");
  EXPECT_FALSE(catalog.find("cam1", atHour(0)));
}

TEST_F(CatalogTest, LooksAgainAtWhatWasDamaged) {
  const std::string index = (put("cam1", 0) / (atHour(0) + "Seg1.k2i")).string();
  const std::string whole = readWholeFile(index);
  writeWholeFile(index, "");
  Catalog catalog(world_);
  scan(catalog);
  EXPECT_EQ(listed(catalog, "cam1"), "0 damaged");
  writeWholeFile(index, whole);
  world_.now += 599'999;
  EXPECT_EQ(listed(catalog, "cam1"), "0 damaged") << "not at each list";
  ++world_.now;
  EXPECT_EQ(listed(catalog, "cam1"), "0 finished");
}

TEST_F(CatalogTest, MayBeAskedWhileItIsFilledAndRecorded) {
  for (int hour = 0; hour < 20; ++hour) put("cam1", hour);
  Catalog catalog(world_);
  catalog.addStream("cam1", folder("cam1"));
  std::jthread recorder([&](const std::stop_token& stop) {
    for (int hour = 100; !stop.stop_requested(); ++hour) {
      catalog.began(at(hour));
      catalog.grew(at(hour));
      catalog.finished(at(hour), true);
    }
  });
  std::jthread reader([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) catalog.totals("cam1");
  });
  std::size_t listed = 0;
  while (!catalog.isReady() || listed < 20) listed = catalog.list("cam1", 0, kTwoOClock + 50 * kHourMs).size();
  EXPECT_EQ(listed, 20U);
}

TEST_F(CatalogTest, FinishesRemovalsThatWereInterrupted) {
  const fs::path path = put("cam1", 0);
  std::vector<fs::path> files;
  for (const auto& file : fs::directory_iterator(path)) files.push_back(file.path().filename());
  // What a kill leaves after none, one and all of its files were removed.
  for (std::size_t removed = 0; removed <= files.size(); ++removed) {
    fs::remove_all(path);
    put("cam1", 0);
    fs::rename(path, path.string() + kRemovedSuffix);
    for (std::size_t i = 0; i < removed; ++i) fs::remove(fs::path(path.string() + kRemovedSuffix) / files[i]);
    Catalog catalog(world_);
    scan(catalog);
    EXPECT_EQ(listed(catalog, "cam1"), "");
    EXPECT_TRUE(fs::is_empty(directory_.path() / "cam1")) << removed;
  }
  // Not ours, for all its name.
  const fs::path foreign = directory_.path() / "cam1" / (std::string("holiday") + kRemovedSuffix);
  writeWholeFile((fs::create_directory(foreign), foreign / "picture"), "");
  Catalog catalog(world_);
  scan(catalog);
  EXPECT_TRUE(fs::exists(foreign / "picture"));
}

TEST_F(CatalogTest, ReportsInterruptedRecordingsOfEarlierProcesses) {
  put("cam1", -2, interruptedRecording());
  put("cam1", -1);
  put("cam1", 1, interruptedRecording());
  std::vector<std::string> reported;
  Catalog* own = nullptr;
  Catalog catalog(world_, [&](const RecordingPlace& recording) {
    reported.push_back(recording.name);
    EXPECT_TRUE(repairInterrupted(*own, recording, Settings(), log_.log()));
  });
  own = &catalog;
  scan(catalog);
  EXPECT_EQ(reported, std::vector{atHour(-2)});
  EXPECT_EQ(listed(catalog, "cam1"), "-2 finished, -1 finished, 1 interrupted");
}

class RepairStream : public CatalogTest {
 protected:
  std::string repair() {
    std::string names;
    const auto finish = [&](const RecordingPlace& recording) {
      if (repairInterrupted(catalog_, recording, Settings(), log_.log())) names += recording.name;
    };
    repairStream(root(), "cam1", finish, log_.log());
    return names;
  }

  Catalog catalog_{world_};
};

TEST_F(RepairStream, FinishesTheNewestAndLeavesTheDamaged) {
  put("cam1", -1, interruptedRecording());
  put("cam1", -0.75);
  put("cam1", 0);
  put("cam1", 1, interruptedRecording());
  const fs::path damaged = put("cam1", 2, interruptedRecording());
  const fs::path segment = damaged / (atHour(2) + "Seg1.k2r");
  writeWholeFile(segment, readWholeFile(segment).substr(0, 2000));
  fs::create_directory(path("cam1", 3));
  const fs::path foreign = put("cam1", 4, interruptedRecording());
  writeWholeFile(foreign / "mine.txt", "");
  const auto before = readAllFiles(foreign.string());
  const auto damagedBefore = readAllFiles(damaged.string());
  catalog_.addStream("cam1", folder("cam1"));
  EXPECT_EQ(repair(), atHour(1));
  EXPECT_EQ(listed(catalog_, "cam1"), "-1 interrupted, -0.75 finished, 0 finished, 1 finished, 2 damaged");
  EXPECT_FALSE(fs::exists(path("cam1", 3)));
  EXPECT_EQ(readAllFiles(damaged.string()), damagedBefore);
  EXPECT_EQ(readAllFiles(foreign.string()), before);
  EXPECT_THAT(log_.text(),
              testing::HasSubstr("cam1: recording " + atHour(1) + " was interrupted, and is finished now"));
  EXPECT_THAT(log_.text(), testing::HasSubstr("is damaged, and stays as it is: " + atHour(2)));
  EXPECT_TRUE(repairInterrupted(catalog_, at(0), Settings(), log_.log())) << "was whole";
}

TEST_F(RepairStream, LeavesWhatAnotherProcessWrites) {
  const fs::path path = put("cam1", 0, interruptedRecording());
  const auto before = readAllFiles(path.string());
  const DirectoryLock lock(path.string());
  EXPECT_EQ(repair(), "");
  EXPECT_EQ(readAllFiles(path.string()), before);
  EXPECT_THAT(log_.text(), testing::HasSubstr("is in use"));
}

}  // namespace
}  // namespace host::serve
