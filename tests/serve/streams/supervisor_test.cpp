// Streams from live sources on this machine into recordings.

#include "host/serve/streams/Supervisor.h"

#include <sys/resource.h>

#include <csignal>
#include <functional>
#include <numeric>

#include "host/record/StoredPart.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/recordingName.h"
#include "tests/serve/streams/streamTools.h"

namespace host::serve {
namespace {

using test::FlvServer;
using test::stream;

class Streams : public test::StreamsTest {
 protected:
  /// Records the source as "cam1", configured as `change` says.
  StreamConfig recordWith(FlvServer& source, const std::function<void(StreamConfig&)>& change) {
    StreamConfig cam = config("cam1", source.url());
    change(cam);
    apply({cam});
    source.accept();
    return cam;
  }
  /// Ends the source, and the streams once all is read: it has been when the stream connects again.
  void endWith(FlvServer& source) {
    source.close();
    source.accept();
    EXPECT_TRUE(supervisor().finish(std::chrono::steady_clock::now() + std::chrono::seconds(5)).empty());
  }
  /// How many frames the files name.
  std::uint64_t onDisk(const std::string& name) const {
    std::uint64_t frames = 0;
    for (const std::string& recording : recordings(name)) {
      frames += readStoredPart(OutputDirectory(root() + "/" + name + "/" + recording), 0).messages.messages;
    }
    return frames;
  }
};

std::vector<test::StreamMessage> begin(std::uint32_t untilMs) {
  return test::withSlices(stream().keyFramesEvery(1000).audio(23).until(untilMs));
}
/// What follows on a stream until then.
std::vector<test::StreamMessage> more(std::uint32_t fromMs, std::uint32_t untilMs) {
  return test::withSlices(stream().keyFramesEvery(1000).audio(23).withoutHeaders().from(fromMs).until(untilMs));
}

/// When the sent frame with that data was sent.
std::uint32_t timeOf(const std::vector<test::StreamMessage>& sent, const std::vector<std::byte>& data) {
  return std::ranges::find_if(sent, [&](const auto& message) { return message.data == data; })->time;
}

TEST_F(Streams, RotationLosesAndDoublesNothing) {
  FlvServer source;
  recordWith(source, [](auto& cam) { cam.rotate = std::chrono::seconds(10); });
  auto sent = begin(12000);
  source.send(sent);
  awaitReceived("cam1", sent);
  // The time of day is a little off the time in the stream.
  for (std::uint32_t fromMs = 12000; fromMs < 36000; fromMs += 12000) {
    nowMs_ = kStartMs + fromMs + 700;
    const auto next = more(fromMs, fromMs + 12000);
    source.send(next);
    sent = std::move(sent) + next;
    events_.await("began cam1", fromMs / 12000 + 1);
    awaitReceived("cam1", sent);
  }
  endWith(source);
  const auto names = recordings("cam1");
  ASSERT_EQ(names.size(), 3U);
  EXPECT_EQ(names[0], "20261125T140320.000Z");
  expectStored("cam1", sent);
  for (const std::string& name : names) {
    const auto frames = stored("cam1", name);
    EXPECT_EQ(frames[0].time, 0U);
    EXPECT_EQ(frames[0].data[0], std::byte{0x17}) << "a key frame";
    EXPECT_EQ(parseRecordingName(name)->beginMs - kStartMs, timeOf(sent, frames[0].data)) << "no seam";
  }
  const auto status = supervisor().find("cam1")->snapshot;
  EXPECT_EQ(status.state, StreamState::kStopped);
  EXPECT_EQ(status.received.frames, framesOf(sent).size());
  EXPECT_EQ(status.stored.frames, framesOf(sent).size());
  EXPECT_EQ(status.recordingsBegun, 3U);
  EXPECT_EQ(events_.count("finished cam1"), 3U);
}

TEST_F(Streams, ASourceThatBreaksOffIsContinuedInItsRecordingAfterAGap) {
  FlvServer source;
  // As long as the pictures between two key frames, so that a line of the grid is in the gap.
  recordWith(source, [](auto& cam) { cam.settings = {"Recording/FragmentDuration=1000"}; });
  const auto first = begin(3000);
  // It is joined between two key frames.
  auto second = test::withSlices(stream().keyFramesEvery(1000).audio(23).from(500000).until(503000));
  const auto isPicture = [](const auto& message) { return message.type == 9 && message.data[1] == std::byte{1}; };
  std::erase_if(second, [&](const auto& message) { return isPicture(message) && message.time == 500000; });
  // Nothing before the first key frame could be decoded.
  source.send(
      {test::avcSequenceHeader(0), test::avcFrame(0, false, 300, 999999), test::avcFrame(20, false, 300, 999998)});
  auto later = first;
  for (auto& message : later) message.time += 40;
  source.send(later);
  source.close();
  // The gap is as long as the source is away, by a clock that no test can set.
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  source.accept();
  source.send(second);
  await("cam1", [](const StreamSnapshot& now) { return now.reconnects == 1 && now.state == StreamState::kRecording; });
  source.accept();
  supervisor_->stop("cam1");
  const auto status = await("cam1", [](const auto& now) { return now.state == StreamState::kStopped; });
  const auto lost =
      std::erase_if(second, [&](const auto& message) { return isPicture(message) && message.time < 501000; });
  EXPECT_EQ(status.gaps, 1U);
  EXPECT_EQ(status.lostFrames[static_cast<std::size_t>(LossReason::kNoKeyFrame)], 2U + lost);
  EXPECT_GT(status.lostSeconds[static_cast<std::size_t>(LossReason::kSource)], 0);
  EXPECT_NE(status.lastError, "");
  ASSERT_EQ(recordings("cam1").size(), 1U);
  expectStored("cam1", first + second);
  EXPECT_EQ(readFacts(root() + "/cam1", *parseRecordingName(recordings("cam1")[0])).gaps.size(), 1U)
      << "a fragment reaches over the gap";
}

TEST_F(Streams, ALostDirectoryAndAClockThatIsSetBackBeginARecording) {
  FlvServer source;
  recordWith(source, [](auto& cam) { cam.rotate = std::chrono::hours(24); });
  source.send(begin(6000));
  events_.await("grew cam1", 1);
  std::filesystem::rename(root() + "/cam1", root() + "/away");
  source.send(more(6000, 12000));
  events_.await("interrupted cam1", 1);
  events_.await("began cam1", 2);
  EXPECT_NE(supervisor_->find("cam1")->snapshot.lastError, "");
  // The clock is set back, and the time of the rotation is two days away.
  nowMs_ = kStartMs - std::chrono::milliseconds(std::chrono::hours(24)).count();
  source.send(more(12000, 15000));
  events_.await("began cam1", 3);
  EXPECT_EQ(recordings("cam1")[0], "20261124T140320.000Z");
  endWith(source);
  const std::uint64_t kept = onDisk("away") + onDisk("cam1"), lost = framesOf(begin(15000)).size() - kept;
  const auto status = supervisor_->find("cam1")->snapshot;
  EXPECT_EQ(status.stored.frames, kept);
  EXPECT_EQ(status.lostFrames[static_cast<std::size_t>(LossReason::kTail)], lost);
  EXPECT_GT(status.lostSeconds[static_cast<std::size_t>(LossReason::kTail)], 1);
  EXPECT_NE(test::readWholeFile("log.txt").find(": " + std::to_string(lost) + " of "), std::string::npos);
}

TEST_F(Streams, AReloadTouchesOnlyWhatChanged) {
  FlvServer same, changed, gone;
  auto second = config("changed", changed.url());
  apply({config("same", same.url()), second, config("gone", gone.url())});
  for (FlvServer* const source : {&same, &changed, &gone}) {
    source->accept();
    source->send(begin(6000));
  }
  for (const char* const name : {"same", "changed", "gone"}) events_.await("grew " + std::string(name), 1);
  auto first = config("same", same.url());
  first.keep.age = std::chrono::hours(1);
  second.settings = {"Recording/FragmentDuration=4000"};
  auto fresh = config("off", gone.url());
  fresh.enabled = false;
  apply({first, second, fresh});
  events_.await("finished gone", 1);
  events_.await("finished changed", 1);
  changed.accept();
  changed.send(begin(6000));
  events_.await("began changed", 2);
  EXPECT_EQ(events_.count("finished same"), 0U);
  EXPECT_FALSE(supervisor_->find("gone"));
  EXPECT_EQ(supervisor_->find("same")->config, first);
  EXPECT_EQ(supervisor_->views().size(), 3U);
  EXPECT_EQ(supervisor_->find("off")->snapshot.state, StreamState::kStopped);
  EXPECT_EQ(supervisor_->find("off")->snapshot.sinceMs, kStartMs);
  EXPECT_FALSE(supervisor_->rotate("off"));
  EXPECT_TRUE(supervisor_->rotate("same"));
  same.send(more(6000, 9000));
  events_.await("began same", 2);
  // What a user asked for outlives a reload.
  EXPECT_TRUE(supervisor_->stop("same"));
  const auto isStopped = [](const StreamSnapshot& now) { return now.state == StreamState::kStopped; };
  await("same", isStopped);
  apply({first, second, fresh, config("new", gone.url())});
  await("new", std::not_fn(isStopped));
  EXPECT_EQ(supervisor_->find("same")->snapshot.state, StreamState::kStopped);
  EXPECT_FALSE(supervisor_->start("nobody"));
}

TEST_F(Streams, AFileIsRecordedOnceAndANewClockBeginsARecording) {
  const auto first = begin(5000), second = more(7000, 9000);
  auto restarted = second;
  for (auto& message : restarted) message.time -= 7000;
  const std::string file = directory_.file("later.mtg");
  apply({config("file", file)});
  const auto failed = await("file", [](const auto& now) { return now.lastErrorAtMs != 0; });
  EXPECT_EQ(failed.state, StreamState::kConnecting);
  test::writeTagStream(first + restarted, directory_.file("part.mtg"));
  std::filesystem::rename(directory_.file("part.mtg"), file);
  await("file", [](const auto& now) { return now.state == StreamState::kStopped && now.recordingsBegun > 0; });
  EXPECT_EQ(recordings("file").size(), 2U);
  expectStored("file", first + second);
}

TEST_F(Streams, KeepsTheNewestWhileThereIsNoPlaceAndGoesOnByItself) {
  FlvServer source;
  const auto cam = recordWith(source, [](auto& stream) { stream.maxQueue = 80000; });
  const auto first = begin(6000), lost = more(6000, 26000), kept = more(26000, 27000), later = more(27000, 30000);
  source.send(first);
  events_.await("grew cam1", 1);
  // The next recording cannot begin, with the key frame that it was to begin with.
  std::filesystem::rename(root(), root() + ".away");
  test::writeWholeFile(root(), "in the way");
  source.send(lost + kept);
  const auto blocked = await("cam1", [](const auto& now) {
    return now.state == StreamState::kBlocked && now.lostFrames[static_cast<std::size_t>(LossReason::kQueue)] > 700;
  });
  EXPECT_LE(blocked.queueBytes, cam.maxQueue);
  EXPECT_NE(blocked.lastError.find("root"), std::string::npos) << blocked.lastError;
  EXPECT_GT(roomRequests_, 1);
  std::filesystem::remove(root());
  const std::size_t before = events_.count("grew cam1");
  source.send(later);
  events_.await("grew cam1", before + 1);
  endWith(source);
  ASSERT_EQ(recordings("cam1").size(), 1U);
  const auto frames = stored("cam1", recordings("cam1")[0]);
  const auto pictures = dataOf(frames, 9), expected = dataOf(framesOf(lost + kept + later), 9);
  ASSERT_GT(pictures.size(), 100U);
  EXPECT_TRUE(std::equal(pictures.begin(), pictures.end(), expected.end() - std::ssize(pictures))) << "a whole tail";
  const auto status = supervisor_->find("cam1")->snapshot;
  EXPECT_EQ(status.received.frames,
            std::accumulate(status.lostFrames.begin(), status.lostFrames.end(), status.stored.frames));
}

TEST_F(Streams, AThreadThatHangsIsBlockedAndOneThatWaitsForItsSourceIsNot) {
  auto impatient = services();
  impatient.workLimit = std::chrono::milliseconds(300);
  supervisor_ = std::make_unique<Supervisor>(impatient);
  FlvServer source;
  recordWith(source, [](auto&) {});
  source.send(begin(6000));
  events_.await("grew cam1", 1);
  std::this_thread::sleep_for(2 * impatient.workLimit);
  EXPECT_EQ(supervisor_->find("cam1")->snapshot.state, StreamState::kRecording);
  events_.hangs = true;
  source.send(more(6000, 12000));
  const auto blocked = await("cam1", [](const auto& now) { return now.state == StreamState::kBlocked; });
  EXPECT_NE(blocked.lastError.find("has not responded for 0 s"), std::string::npos) << blocked.lastError;
  EXPECT_LE(blocked.sinceMs, kStartMs - impatient.workLimit.count());
  EXPECT_EQ(supervisor_->views().at(0).snapshot.state, StreamState::kBlocked);
  for (int i = 0; i < 2; ++i) supervisor_->logHangs();
  events_.hangs = false;
  EXPECT_EQ(await("cam1", [](const auto& now) { return now.state == StreamState::kRecording; }).lastError, "");
  for (int i = 0; i < 2; ++i) supervisor_->logHangs();
  const std::string log = test::readWholeFile("log.txt"), hangs = "cam1: error: the stream has not responded for 0 s";
  EXPECT_EQ(log.rfind(hangs), log.find(hangs));
  EXPECT_TRUE(log.ends_with(" slow\ncam1: the stream responds again, after 0 s\n")) << log;
  endWith(source);
}

TEST_F(Streams, ARecordingThatTakesNoMoreIsFollowedByAnother) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  ::getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small{.rlim_cur = 200000, .rlim_max = old.rlim_max};
  FlvServer source;
  recordWith(source, [](auto& cam) { cam.maxQueue = 80000; });
  ::setrlimit(RLIMIT_FSIZE, &small);
  const auto sent = begin(40000);
  source.send(sent);
  events_.await("began cam1", 2);
  ::setrlimit(RLIMIT_FSIZE, &old);
  endWith(source);
  const auto status = supervisor_->find("cam1")->snapshot;
  const std::uint64_t lost = std::accumulate(status.lostFrames.begin(), status.lostFrames.end(), std::uint64_t{0});
  EXPECT_GT(lost, 0U);
  EXPECT_EQ(status.received.frames, framesOf(sent).size());
  EXPECT_EQ(status.stored.frames + lost, framesOf(sent).size());
  EXPECT_EQ(status.stored.frames, onDisk("cam1"));
  EXPECT_NE(test::readWholeFile("log.txt").find("cam1: the queue is full and cannot be written: recording"),
            std::string::npos);
}

}  // namespace
}  // namespace host::serve
