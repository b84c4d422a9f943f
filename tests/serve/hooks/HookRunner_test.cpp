// Hooks of finished recordings, with real programs and a clock that the tests move.

#include "host/serve/hooks/HookRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "tests/serve/catalog/storedRecordings.h"

namespace host::serve {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr const char* kFirst = "20261125T140000.000Z";
constexpr const char* kSecond = "20261125T150000.000Z";

class HookRunnerTest : public testing::Test {
 protected:
  HookRunnerTest() { fs::create_directory(directory_.file(".k2r")); }

  using Words = std::vector<std::string>;
  /// Streams by their names, each with its hook.
  ServeConfig config(const std::map<std::string, Words>& hooks, unsigned parallel = 4) const {
    ServeConfig config{.hookParallel = parallel};
    for (const auto& [name, words] : hooks) {
      config.streams.push_back({.name = name, .source = "x", .root = directory_.path().string(), .onRecording = words});
    }
    return config;
  }
  static Words shell(const std::string& line) { return {"sh", "-c", line}; }
  /// As in a new process.
  void begin(const std::map<std::string, Words>& hooks, unsigned parallel = 4) {
    runner_.reset();
    runner_ = std::make_unique<HookRunner>(log_.log(), HookRunner::Timing{.now = [this] { return now_; }, .grace = 2s});
    runner_->configure(config(hooks, parallel));
  }
  RecordingPlace place(const std::string& stream, const std::string& recording) const {
    return {.root = directory_.path().string(), .stream = stream, .name = recording};
  }
  void finish(const std::string& stream, const std::string& recording) const {
    fs::create_directories(directory_.path() / stream / recording);
    runner_->add(place(stream, recording));
  }
  /// Until nothing runs. Waits for programs, never for the clock.
  void settle() const {
    runner_->step(false);
    while (running() > 0) runner_->step(true);
  }
  HookStatus status(const std::string& stream = "cam1") const { return runner_->status()[stream]; }
  std::size_t running() const {
    std::size_t count = 0;
    for (const auto& [name, status] : runner_->status()) count += status.running;
    return count;
  }
  std::string marker(const std::string& stream, const std::string& recording) const {
    return directory_.file(".k2r/hooks/" + stream + "~" + recording);
  }
  std::string fifo(const std::string& name) const {
    ::mkfifo(directory_.file(name).c_str(), 0600);
    return directory_.file(name);
  }

  const test::TempDirectory directory_;
  test::LogCapture log_;
  HookRunner::Clock::time_point now_ = HookRunner::Clock::now();
  std::unique_ptr<HookRunner> runner_;
};

TEST_F(HookRunnerTest, RunsTheWordsWithoutAShell) {
  ::setenv("NOTIFY_SOCKET", "/x", 1);
  begin({{"cam1",
          {"sh", "-c",
           "printf '<%s>' \"$@\"; echo; readlink /proc/self/fd/0; ls -m /proc/self/fd; "
           "echo \"socket ${NOTIFY_SOCKET-none}\"; echo http://u:pw@h >&2",
           "sh", "{dir}", "{stream}/{name}; $HOME {dir", "{}{DIR}"}}});
  ::unsetenv("NOTIFY_SOCKET");
  finish("cam1", kFirst);
  EXPECT_TRUE(fs::exists(marker("cam1", kFirst)));
  EXPECT_TRUE(runner_->mustKeep("cam1", kFirst));
  settle();
  const std::string name = fmt::format("hook of cam1/{}: ", kFirst);
  EXPECT_EQ(log_.text(),
            fmt::format("{0}<{1}/cam1/{2}><cam1/{2}; $HOME {{dir><{{}}{{DIR}}>\n{0}/dev/null\n{0}0, 1, 2, 3\n"
                        "{0}socket none\n{0}http://u:***@h\n",
                        name, directory_.path().string(), kFirst));
  EXPECT_FALSE(fs::exists(marker("cam1", kFirst)));
  EXPECT_FALSE(runner_->mustKeep("cam1", kFirst));
  EXPECT_EQ(status().succeeded, 1U);
  // A stream without a hook owes nothing.
  finish("cam2", kFirst);
  EXPECT_FALSE(runner_->mustKeep("cam2", kFirst));
}

TEST_F(HookRunnerTest, TriesAgainWithGrowingPauses) {
  begin({{"cam1", shell("exit 3")}});
  finish("cam1", kFirst);
  settle();
  std::uint64_t failures = 1;
  for (const auto pause : {10s, 20s, 40s, 80s, 160s, 320s, 640s, 1280s, 2560s, 3600s, 3600s}) {
    now_ += pause - 1ms;
    settle();
    EXPECT_EQ(status().failed, failures) << pause.count();
    now_ += 1ms;
    settle();
    EXPECT_EQ(status().failed, ++failures) << pause.count();
    EXPECT_EQ(status().alarms, failures < HookRunner::kAlarmFailures ? 0U : 1U);
  }
  EXPECT_TRUE(runner_->mustKeep("cam1", kFirst));
  EXPECT_EQ(status().lastError, "exit status 3");
  EXPECT_THAT(log_.text(),
              HasSubstr(fmt::format("error: hook of cam1/{}: exit status 3 (failure 8); again in 1280 s", kFirst)));
}

TEST_F(HookRunnerTest, ContinuesInTheNextProcess) {
  begin({{"cam1", {"/no/such/program"}}, {"gone", shell("exit 1")}});
  for (const char* const recording : {kFirst, kSecond}) finish("cam1", recording);
  finish("gone", kFirst);
  settle();
  EXPECT_THAT(status().lastError, HasSubstr("cannot run '/no/such/program': No such file"));
  fs::remove(directory_.path() / "cam1" / kSecond);
  test::writeWholeFile(directory_.file(".k2r/hooks/other"), "");
  begin({{"cam1", shell("echo ran {name}")}});
  EXPECT_TRUE(runner_->mustKeep("cam1", kFirst));
  settle();
  EXPECT_THAT(log_.text(), HasSubstr(fmt::format("ran {}", kFirst)));
  EXPECT_THAT(log_.text(),
              HasSubstr(fmt::format("hook of cam1/{}: did not succeed before the recording was removed", kSecond)));
  EXPECT_EQ(status().waiting, 0U);
  EXPECT_FALSE(fs::exists(marker("cam1", kSecond)));
  // It runs when its stream is there again.
  EXPECT_TRUE(fs::exists(marker("gone", kFirst)));
  runner_->configure(config({{"gone", shell("exit 0")}}));
  settle();
  EXPECT_FALSE(fs::exists(marker("gone", kFirst)));
}

TEST_F(HookRunnerTest, FindsWhatAKilledProcessHadFinished) {
  const std::string third = "20261125T160000.000Z", fourth = "20261125T170000.000Z";
  begin({{"cam1", shell("exit 0")}});
  for (const std::string& recording : {std::string(kFirst), std::string(kSecond), third, fourth})
    runner_->begun(place("cam1", recording));
  runner_->dropped(place("cam1", fourth));
  test::store(test::finishedRecording(), directory_.path(), "cam1", kFirst);
  test::store(test::interruptedRecording(), directory_.path(), "cam1", kSecond);
  begin({{"cam1", shell("exit 0")}});
  EXPECT_TRUE(runner_->mustKeep("cam1", kFirst));
  EXPECT_TRUE(fs::exists(marker("cam1", kFirst)));
  EXPECT_EQ(status().waiting, 1U) << "one is to be repaired first";
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(directory_.file(".k2r/begun")))
    left.push_back(entry.path().filename());
  EXPECT_EQ(left, std::vector{std::string("cam1~") + kSecond}) << "those that are not there are forgotten";
}

TEST_F(HookRunnerTest, FollowsTheConfiguration) {
  begin({{"cam1", shell("exit 0")}, {"cam2", shell("exit 1")}});
  finish("cam2", kFirst);
  settle();
  // The first stream is gone and finishes its last recording; the second one has no hook any more.
  runner_->configure(config({{"cam2", {}}}));
  EXPECT_FALSE(runner_->mustKeep("cam2", kFirst));
  finish("cam1", kFirst);
  settle();
  EXPECT_EQ(status().succeeded, 1U);
}

TEST_F(HookRunnerTest, EndsAHookThatHangs) {
  // The second one ignores the request, and leaves another program in its group.
  for (const char* const line :
       {"exec cat {dir}/fifo", "trap '' TERM; cat {dir}/fifo & cat {dir}/fifo; cat {dir}/fifo"}) {
    begin({{"cam1", shell(line)}});
    finish("cam1", kFirst);
    const std::string path = fifo(fmt::format("cam1/{}/fifo", kFirst));
    runner_->step(false);
    now_ += 1h - 1ms;
    runner_->step(false);
    EXPECT_EQ(running(), 1U);
    now_ += 1ms;
    runner_->step(false);
    now_ += 2s;
    settle();
    EXPECT_EQ(status().timedOut, 1U) << line;
    EXPECT_EQ(status().failed, 0U);
    EXPECT_EQ(status().waiting, 1U);
    // Nobody reads it any more, once the system has ended them all: POLLERR is waited for always.
    pollfd fifoEnd{::open(path.c_str(), O_WRONLY | O_NONBLOCK), 0, 0};
    if (fifoEnd.fd != -1) {
      EXPECT_EQ(::poll(&fifoEnd, 1, 10'000), 1) << line;
      ::close(fifoEnd.fd);
    }
  }
}

TEST_F(HookRunnerTest, RunsSomeAtOnceAndLetsEachStreamHaveAPlace) {
  const Words hook = shell("exec cat {dir}/fifo");
  begin({{"a", hook}, {"b", hook}}, 2);
  for (const char* const recording : {kFirst, kSecond}) {
    finish("a", recording);
    fifo(fmt::format("a/{}/fifo", recording));
  }
  now_ += 1s;
  finish("b", kSecond);
  fifo(fmt::format("b/{}/fifo", kSecond));
  runner_->step(false);
  EXPECT_EQ(status("a").running, 1U);
  EXPECT_EQ(status("b").running, 1U);
  // Each program ends once its fifo was opened and closed. The first one makes room for the third.
  for (const auto& recording : {std::string("a/") + kFirst, std::string("a/") + kSecond, std::string("b/") + kSecond}) {
    const auto succeeded = [&] { return status("a").succeeded + status("b").succeeded; };
    const auto before = succeeded();
    std::ofstream(directory_.file(recording + "/fifo")).close();
    while (succeeded() == before) runner_->step(true);
    runner_->step(false);
  }
  EXPECT_EQ(status("a").succeeded, 2U);
}

TEST_F(HookRunnerTest, BoundsWhatAProgramPrints) {
  begin({{"cam1", shell("head -c 100000 /dev/zero | tr '\\0' x; echo; seq 100000")}});
  finish("cam1", kFirst);
  settle();
  const std::string text = log_.text();
  EXPECT_EQ(std::ranges::count(text, '\n'), 101);
  EXPECT_THAT(text, HasSubstr(std::string(500, 'x') + "...\n"));
  EXPECT_THAT(text, testing::EndsWith("(further output is not shown)\n"));
  EXPECT_EQ(status().succeeded, 1U);
}

TEST_F(HookRunnerTest, AStopEndsThemAndLeavesTheirMarkers) {
  for (const char* const line : {"echo $$ > {dir}/../started; exec cat {dir}/fifo",
                                 "trap '' TERM; echo $$ > {dir}/../started; cat {dir}/fifo; cat {dir}/fifo"}) {
    // On its own thread, as the service has it.
    runner_ = std::make_unique<HookRunner>(log_.log(), HookRunner::Timing{.grace = line[0] == 't' ? 0s : 2s});
    runner_->configure(config({{"cam1", shell(line)}}));
    runner_->start();
    fs::create_directories(directory_.path() / "cam1");
    const std::string started = fifo("cam1/started");
    finish("cam1", kFirst);
    fifo(fmt::format("cam1/{}/fifo", kFirst));
    int pid = 0;
    std::ifstream(started) >> pid;
    runner_->stop();
    EXPECT_EQ(::kill(pid, 0), -1) << line;
    EXPECT_TRUE(fs::exists(marker("cam1", kFirst)));
    EXPECT_EQ(status().failed, 0U);
  }
}

TEST_F(HookRunnerTest, WritesNothingWhereNoDiskIsMounted) {
  fs::remove(directory_.path() / ".k2r");
  begin({{"cam1", shell("exit 1")}});
  finish("cam1", kFirst);
  EXPECT_FALSE(fs::exists(directory_.path() / ".k2r"));
  EXPECT_THAT(log_.text(), HasSubstr("would be forgotten by a restart"));
  // The recording is not gone: it is on the disk.
  fs::remove_all(directory_.path() / "cam1");
  settle();
  EXPECT_TRUE(runner_->mustKeep("cam1", kFirst));
  EXPECT_THAT(status().lastError, HasSubstr("is not mounted"));
}

TEST_F(HookRunnerTest, KeepsAHookWhoseRootComesAndGoes) {
  const std::string root = directory_.file("disk");
  fs::create_directories(root + "/.k2r");
  fs::create_directories(root + "/cam1/" + kFirst);
  begin({{"cam1", {"/no/such/program"}}});
  runner_->add({.root = root, .stream = "cam1", .name = kFirst});
  std::jthread mounts([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      fs::rename(root, root + ".away");
      fs::rename(root + ".away", root);
    }
  });
  for (int i = 0; i < 2000 && runner_->mustKeep("cam1", kFirst); ++i) {
    now_ += 1h;
    runner_->step(false);
  }
  EXPECT_TRUE(runner_->mustKeep("cam1", kFirst));
}

}  // namespace
}  // namespace host::serve
