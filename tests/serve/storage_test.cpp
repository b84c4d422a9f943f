#include "host/serve/Storage.h"

#include <future>
#include <new>

#include "host/serve/catalog/StreamRecordings.h"
#include "tests/serve/catalog/storedRecordings.h"

namespace host::serve {
namespace {

using namespace test;

TEST(Storage, FollowsARecordingThatEndsAfterItsStreamGotAnotherRoot) {
  const TempDirectory directory;
  ::setenv("STATE_DIRECTORY", directory.file("state").c_str(), 1);
  LogCapture log;
  Storage storage(log.log());
  const auto configure = [&](const std::string& root) {
    ServeConfig config{.root = root, .hookParallel = 1};
    config.streams = {{.name = "cam1", .source = "x", .root = root, .onRecording = {"touch", root + "-{name}"}}};
    storage.requireRoot(config.streams[0]);
    storage.apply(config);
  };
  const auto awaitHook = [&](const std::string& recording) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const auto ran = [&] { return std::filesystem::exists(directory.file("new-" + recording)); };
    while (!ran() && std::chrono::steady_clock::now() < until) std::this_thread::yield();
    return ran();
  };
  const std::string before = directory.file("old"), after = directory.file("new");
  const RecordingPlace whole{before, "cam1", atHour(0)}, cut{before, "cam1", atHour(1)};
  configure(before);
  for (const RecordingPlace& recording : {whole, cut}) storage.began(recording);
  store(finishedRecording(), before, "cam1", whole.name);
  store(interruptedRecording(), before, "cam1", cut.name);
  configure(after);
  storage.finished(whole, false);
  EXPECT_TRUE(awaitHook(whole.name));
  storage.interrupted(cut);
  storage.began({after, "cam1", atHour(2)});
  EXPECT_TRUE(awaitHook(cut.name)) << "by the repair";
  for (const auto& stored : storage.catalog().foldersIn(before).front()->stored()) EXPECT_FALSE(stored.isInProgress);
  ::unsetenv("STATE_DIRECTORY");
}

TEST(RepairTurns, RepairARecordingOnceAndOneAtATime) {
  RepairTurns turns;
  const RecordingPlace recording{"/root", "cam1", atHour(0)};
  std::promise<void> second;
  int repairs = 0;
  std::future<bool> waits;
  const auto failing = [&] {
    waits = std::async(std::launch::async, [&] {
      second.set_value();
      return turns.repairOnce(recording, [&] { return ++repairs > 0; });
    });
    second.get_future().wait();
    EXPECT_EQ(waits.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    EXPECT_TRUE(turns.repairOnce({"/root", "cam2", atHour(0)}, [] { return true; })) << "another one does not wait";
    return false;
  };
  EXPECT_FALSE(turns.repairOnce(recording, failing));
  EXPECT_FALSE(waits.get());
  EXPECT_EQ(repairs, 0) << "waited for the other thread's";
  EXPECT_THROW(turns.repairOnce(recording, []() -> bool { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_TRUE(turns.repairOnce(recording, [&] { return ++repairs == 1; })) << "after a failure";
  EXPECT_FALSE(turns.repairOnce(recording, [&] { return ++repairs == 2; })) << "is finished";
}

}  // namespace
}  // namespace host::serve
