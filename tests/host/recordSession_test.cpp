#include "host/RecordSession.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/FileContext.h"
#include "host/OpenContext.h"
#include "tests/host/FakeAdaptor.h"
#include "tests/host/LogCapture.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace host {
namespace {

/// Gives messages from a list.
class ListInput : public Input {
 public:
  explicit ListInput(std::vector<InputMessage> messages) : messages_(std::move(messages)) {}
  std::optional<InputMessage> next() override {
    if (next_ == messages_.size()) return std::nullopt;
    return messages_[next_++];
  }

 private:
  std::vector<InputMessage> messages_;
  std::size_t next_ = 0;
};

class RecordSessionTest : public testing::Test {
 protected:
  std::string path() const { return test::modulePath(directory_.path() / "cam1"); }

  test::TempDirectory directory_;
  test::LogCapture capture_;
  Settings settings_;
  FileContext files_{Durability::kProcess, capture_.log()};
  StreamContext context_{settings_, capture_.log(), files_};
  OpenContext openContext_{settings_};
  test::FakeAdaptor adaptor_{&context_};
  Progress progress_{ProgressStyle::kNone, capture_.log()};
  std::vector<std::byte> large_ = std::vector<std::byte>(0x1000001);
};

TEST_F(RecordSessionTest, CountsWhatIsRefused) {
  Recording recording(adaptor_, openContext_, path(), false);
  RecordSession session(recording, context_, capture_.log(), progress_, nullptr);
  const auto bytes = [&](std::size_t count) { return std::span<const std::byte>(large_).first(count); };
  ListInput input(
      {{8, 0, bytes(3)}, {9, 5, bytes(0x1000000)}, {22, 7, bytes(1)}, {9, 9, bytes(0xFFFFFF)}, {1, 9, bytes(0)}});
  session.run(input);
  EXPECT_EQ(session.messages(), 5u);
  EXPECT_EQ(session.refused(), 3u);
  EXPECT_EQ(session.firstReason(),
            "a message of 16777216 bytes at 5 ms is too large; at most 16777215 bytes can be stored");
  ASSERT_EQ(adaptor_.messages.size(), 4u);
  EXPECT_EQ(adaptor_.messages[2].data.size(), 0xFFFFFFu);
  EXPECT_EQ(adaptor_.messages[2].timeMs, 9u);
}

TEST_F(RecordSessionTest, SaysWhereAnAppendHasToBegin) {
  Recording recording(adaptor_, openContext_, path(), true);
  RecordSession session(recording, context_, capture_.log(), progress_, nullptr);
  session.expectFrom(28000);
  ListInput input({{8, 0, {}}, {22, 20, {}}, {22, 40, {}}});
  session.run(input);
  EXPECT_EQ(capture_.text(),
            "error: Invalid message type.\n"
            "warning: the refused message at 20 ms lies ahead of the recording's end; what is appended has to go on "
            "from 28000 ms\n"
            "error: Invalid message type.\n");
}

TEST_F(RecordSessionTest, OpensStopsAndClosesOnce) {
  {
    Recording recording(adaptor_, openContext_, path(), true);
    recording.stop();
  }
  { Recording recording(adaptor_, openContext_, path(), false); }
  EXPECT_EQ(adaptor_.calls,
            (std::vector<std::string>{"open " + path() + " 3", "stop", "close", "open " + path() + " 1", "close"}));
}

TEST_F(RecordSessionTest, PacerGoesByTheTimestamps) {
  StopSignal stop;
  RealTimePacer pacer(stop);
  const auto start = std::chrono::steady_clock::now();
  for (const std::uint32_t time : {0xFFFFFFF0u, 0xFFFFFFE0u, 0x10u, 0x20u}) pacer.wait(time);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, std::chrono::milliseconds(48)) << "over the wrap of the 32 bits";
  std::thread other([&] { stop.request(); });
  pacer.wait(1000000);  // Comes back at the request.
  other.join();
}

TEST(Progress, TellsTimeSpeedAndSize) {
  test::LogCapture capture;
  Progress progress(ProgressStyle::kNone, capture.log());
  progress.add(4294967000u, 500000);
  progress.add(3725000u, 1000000);
  EXPECT_EQ(progress.text(std::chrono::seconds(1000)), "recorded 01:02:05.296  speed 3.7x  1.5 MB");
  EXPECT_EQ(capture.text(), "");
}

}  // namespace
}  // namespace host
