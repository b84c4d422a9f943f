#include "host/serve/retention/Retention.h"

#include "host/DirectoryLock.h"
#include "host/serve/retention/RootRetention.h"
#include "tests/serve/catalog/storedRecordings.h"

namespace host::serve {
namespace {

using namespace test;
namespace fs = std::filesystem;

class RetentionTest : public StoredRecordings {
 protected:
  RetentionTest() { world_.now = kTwoOClock + 10 * kHourMs; }

  void scan() { StoredRecordings::scan(catalog_, root()); }
  /// "cam1/0 cam2/1": the stream and the hour of what is on disk.
  std::string left() {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(directory_.path())) {
      const auto name = parseRecordingName(entry.path().filename().string());
      if (!name) continue;
      found.push_back(
          fmt::format("{}/{}", entry.path().parent_path().filename().string(), (name->beginMs - kTwoOClock) / kHourMs));
    }
    std::ranges::sort(found);
    std::string text;
    for (const auto& one : found) text += (text.empty() ? "" : " ") + one;
    return text;
  }
  std::uint64_t removed(RemovalReason reason) { return counts_[static_cast<std::size_t>(reason)]; }
  void list(const std::string& stream) { catalog_.list(stream, 0, INT64_MAX); }

  static constexpr std::chrono::hours kHour{1};
  Catalog catalog_{world_};
  std::set<std::string> held_;
  RemovalCounts counts_{};
  RootRetention retention_{
      root(),
      catalog_,
      [this](const std::string& stream, const std::string& recording) {
        return held_.contains(stream + "/" + recording);
      },
      [this](const std::string& stream, const std::string& recording) { held_.erase(stream + "/" + recording); },
      log_.log(),
      world_,
      counts_};
};

TEST_F(RetentionTest, RemovesByAgeInAllStreams) {
  for (const double hour : {0, 1, 2, 9}) put("cam1", hour);
  for (const double hour : {0, 2}) put("unknown", hour);
  put("mine", 0);
  scan();
  catalog_.addStream("mine", folder("mine"));
  catalog_.began(at(0, "mine"));
  held_ = {"cam1/" + atHour(1)};
  retention_.pass({.all = {.age = 8 * kHour}, .streams = {{"cam1", {.age = 3 * kHour}}, {"mine", {.age = kHour}}}});
  // That of hour 2 ended 12 seconds later than 8 hours ago.
  EXPECT_EQ(left(), "cam1/1 cam1/9 mine/0 unknown/2");
  EXPECT_EQ(removed(RemovalReason::kKeepFor), 3U);
}

TEST_F(RetentionTest, RemovesByBytesAndEmptyFolders) {
  for (const double hour : {0, 3}) put("cam1", hour);
  put("cam2", 1);
  put("cam3", 2);
  scan();
  const std::uint64_t each = catalog_.totals("cam2").bytes;
  retention_.pass({.all = {.bytes = 2 * each}, .streams = {{"cam1", {}}}});
  EXPECT_EQ(left(), "cam1/3 cam3/2");
  EXPECT_FALSE(fs::exists(folder("cam2")));
  EXPECT_EQ(catalog_.streams(), (std::vector<std::string>{"cam1", "cam3"}));
  EXPECT_EQ(removed(RemovalReason::kKeepBytes), 2U);
  retention_.pass({.streams = {{"cam1", {.bytes = 0}}}});
  EXPECT_EQ(left(), "cam3/2");
  // What comes into the folder after the scan counts, too.
  put("cam3", 3);
  retention_.pass({.all = {.bytes = each}});
  EXPECT_EQ(left(), "cam3/3");
}

TEST_F(RetentionTest, KeepsSpaceFreeBeforeAllElse) {
  for (const double hour : {0, 1, 2}) put("cam1", hour);
  // The oldest, whose removal would free nothing.
  put("mounted", -1);
  // Nothing is read yet: the scan has not begun.
  for (const char* stream : {"cam1", "mounted"}) catalog_.addStream(stream, folder(stream));
  held_ = {"cam1/" + atHour(0)};
  world_.free = 999;
  retention_.pass({.keepFree = 1000});
  EXPECT_EQ(left(), "cam1/1 cam1/2 mounted/-1");
  EXPECT_THAT(log_.text(), testing::HasSubstr("was removed for keep_free before its hook had succeeded"));
  world_.free = 1000;
  retention_.pass({.keepFree = 1000});
  EXPECT_EQ(left(), "cam1/1 cam1/2 mounted/-1");
  EXPECT_EQ(removed(RemovalReason::kKeepFree), 1U);
}

TEST_F(RetentionTest, WaitsAMinuteAfterAList) {
  for (const double hour : {0, 1}) put("cam1", hour);
  scan();
  list("cam1");
  const RootLimits limits{.keepFree = 1};
  world_.free = 0;
  retention_.pass(limits);
  EXPECT_EQ(left(), "cam1/0 cam1/1");
  // Who asks again and again does not keep it.
  world_.now += 59'000;
  list("cam1");
  EXPECT_EQ(catalog_.list("cam1", 0, INT64_MAX).size(), 1U);
  EXPECT_TRUE(catalog_.find("cam1", atHour(0)));
  world_.now += 2'000;
  retention_.pass(limits);
  EXPECT_EQ(left(), "cam1/1");
  // The other one becomes due, and then is no more.
  retention_.pass(limits);
  EXPECT_TRUE(catalog_.list("cam1", 0, INT64_MAX).empty());
  retention_.pass({});
  EXPECT_EQ(catalog_.list("cam1", 0, INT64_MAX).size(), 1U);
}

TEST_F(RetentionTest, GoesPastWhatItMayNotRemove) {
  for (const double hour : {0, 1, 2, 3}) put("cam1", hour);
  scan();
  // Since it was read.
  writeWholeFile(path("cam1", 0) / "mine.txt", "");
  const auto before = readAllFiles(path("cam1", 0).string());
  const DirectoryLock lock(path("cam1", 1).string());
  world_.free = 0;
  retention_.pass({.keepFree = 1});
  retention_.pass({.keepFree = 1});
  EXPECT_EQ(left(), "cam1/0 cam1/1 cam1/2 cam1/3");
  retention_.pass({.keepFree = 1});
  EXPECT_EQ(left(), "cam1/0 cam1/1 cam1/3");
  EXPECT_EQ(readAllFiles(path("cam1", 0).string()), before);
  EXPECT_THAT(log_.text(), testing::HasSubstr("another process uses it"));
  EXPECT_FALSE(catalog_.find("cam1", atHour(0)));
}

TEST_F(RetentionTest, LeavesARecordingThatBeginsMeanwhile) {
  put("cam1", 0);
  scan();
  put("cam1", 1);
  // At the second look at the time the folder has been listed.
  world_.onNow = [&, looks = 0]() mutable {
    if (++looks == 2) catalog_.began(at(1, "cam1"));
  };
  world_.free = 0;
  retention_.pass({.keepFree = UINT64_MAX});
  EXPECT_EQ(left(), "cam1/1");
}

TEST_F(RetentionTest, FollowsTheConfiguration) {
  for (const double hour : {0.0, 9.5}) put("cam1", hour);
  scan();
  ServeConfig config{.root = root(), .keep = {.age = kHour}};
  std::atomic<int> asked = 0;
  Retention retention(catalog_, {}, {}, log_.log(), world_);
  retention.setMayRemove([&](const std::string& root) {
    EXPECT_EQ(root, config.root);
    EXPECT_TRUE(asked > 1 || left() == "cam1/0 cam1/9");
    return ++asked > 1;
  });
  retention.apply(config);
  while (asked == 0) std::this_thread::yield();
  retention.makeRoom(config.root);
  while (retention.removed(RemovalReason::kKeepFor) == 0) std::this_thread::yield();
  EXPECT_EQ(left(), "cam1/9");
  world_.now += 2 * kHourMs;
  retention.makeRoom(config.root);
  while (fs::exists(folder("cam1"))) std::this_thread::yield();
}

TEST(LimitsByRoot, AreThoseOfTheStorageOnlyForItsRoot) {
  ServeConfig config{.root = "/a", .keep = {.bytes = 5}, .keepFree = 7};
  config.streams = {{.name = "one", .source = "", .root = "/a"},
                    {.name = "two", .source = "", .root = "/b", .keep = {.bytes = 3}}};
  auto limits = limitsByRoot(config);
  EXPECT_EQ(limits.at("/a").all.bytes, 5U);
  EXPECT_EQ(limits.at("/b").all.bytes, std::nullopt);
  EXPECT_EQ(limits.at("/b").streams.at("two").bytes, 3U);
  EXPECT_EQ(limits.at("/b").keepFree, kLeastRoom);
}

}  // namespace
}  // namespace host::serve
