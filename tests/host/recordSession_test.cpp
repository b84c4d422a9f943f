#include "host/RecordSession.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/FileContext.h"
#include "host/Module.h"
#include "host/OpenContext.h"
#include "tests/host/hostTools.h"

namespace host {
namespace {

/// Gives messages from a list.
struct ListInput : Input {
  explicit ListInput(std::vector<InputMessage> list) : messages(std::move(list)) {}
  std::optional<InputMessage> next() override {
    return taken == messages.size() ? std::nullopt : std::optional(messages[taken++]);
  }
  std::vector<InputMessage> messages;
  std::size_t taken = 0;
};

TEST(RecordSession, CountsWhatIsRefused) {
  const test::TempDirectory directory;
  test::LogCapture capture;
  const Settings settings;
  FileContext files(Durability::kProcess, capture.log());
  StreamContext context(settings, capture.log(), files);
  OpenContext openContext(settings);
  const Module module(findModule());
  const auto adaptor = module.createAdaptor(context);
  Recording recording(*adaptor, openContext, test::modulePath(directory.path() / "cam1"), false);
  Progress progress(ProgressStyle::kNone, capture.log());
  RecordSession session(recording, context, capture.log(), progress, nullptr);
  const std::vector<std::byte> mp3(0x1000000, std::byte{0x2F});
  const auto bytes = [&](std::size_t count) { return std::span(mp3).first(count); };
  const auto metadata = test::metadata(0).data;
  ListInput input({{18, 0, metadata}, {8, 5, bytes(0x1000000)}, {22, 7, bytes(1)}, {8, 9, bytes(0xFFFFFF)}});
  session.run(input);
  EXPECT_EQ(session.messages(), 4u);
  EXPECT_EQ(session.refused(), 2u);
  EXPECT_EQ(session.firstReason(),
            "a message of 16777216 bytes at 5 ms is too large; at most 16777215 bytes can be stored");
  EXPECT_EQ(capture.text(), "error: " + session.firstReason() + "\nerror: Invalid message type.\n");
}

TEST(RealTimePacer, GoesByTheTimestamps) {
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

TEST(Log, WritesALineAnEntryAndKeepsTheStatusLineBelow) {
  test::LogCapture capture;
  capture.log().warning("a\nb\x1b[2J\r\n");
  capture.log().setStatusLine("10 s");
  capture.log().error("x");
  capture.log().setStatusLine("11 s");
  EXPECT_EQ(capture.text(), "warning: a b [2J \n\r\x1b[K10 s\r\x1b[Kerror: x\n10 s\r\x1b[K11 s");
}

}  // namespace
}  // namespace host
