// An input on its way into a recording, while the disk is full.

#include "host/record/RecordSession.h"

#include "host/OpenContext.h"
#include "tests/host/hostTools.h"
#include "tests/support/loadModule.h"

namespace host {
namespace {

/// Those of whole fragments.
std::vector<test::StreamMessage> framesOf(std::vector<test::StreamMessage> messages) {
  std::erase_if(messages, [](const auto& message) {
    return message.type == 18 || message.time >= 20000 || test::isSequenceHeader(message);
  });
  return messages;
}

class RecordSessionTest : public testing::Test {
 protected:
  /// Of writes from `first` on so many fail.
  RecordAccount record(const std::vector<test::StreamMessage>& messages, int first, int failures,
                       const SessionOptions& options = {}) {
    IMOStreamAdaptor* made = nullptr;
    EXPECT_TRUE(test::loadModule()(&context_, &made));
    const std::unique_ptr<IMOStreamAdaptor> adaptor(made);
    Recording recording(*adaptor, openContext_, test::modulePath(path_), false);
    Progress progress(ProgressStyle::kNone, capture_.log());
    StreamFollower follower(4000, false);
    RecordSession session(recording, context_, follower, capture_.log(), progress, nullptr, options);
    files_.permits = [writes = 0, first, failures](std::string_view operation) mutable {
      if (operation != "write") return true;
      const int number = writes++ - first;
      return number < 0 || number >= failures;
    };
    test::ListInput input(messages);
    session.run(input);
    recording.stop();
    return session.account();
  }

  const test::TempDirectory directory_;
  const std::string path_ = directory_.file("cam1");
  test::DiskFileContext files_;
  test::LogCapture capture_;
  const Settings settings_;
  StreamContext context_{settings_, capture_.log(), files_, {}};
  OpenContext openContext_{settings_};
};

TEST(FragmentModel, TakesATimeAfterTheWrapOf32BitsForALaterOne) {
  FragmentModel model(4000);
  const std::byte sound[] = {std::byte{0x2F}, std::byte{1}};
  const std::pair<std::uint32_t, std::uint32_t> rows[] = {
      {0xFFFFFF00, 0xFFFFFF00}, {0xFFFFFFF0, 0xFFFFFFF0}, {0xFFFFFFE0, 0xFFFFFFF0}, {0x100, 0x100}, {0xFF, 0x100}};
  for (const auto& [timeMs, keptMs] : rows) {
    model.add({.type = 8, .timeMs = timeMs, .data = sound}, true);
    EXPECT_EQ(model.lastTimeMs(), keptMs) << timeMs;
  }
}

TEST_F(RecordSessionTest, LosesNothingToADiskThatWasFullAndSendsNothingTwice) {
  const auto messages = test::av().until(20001);
  const test::StreamMessage foreign{22, 20001, {std::byte{1}}};
  // The segment's header, at the first two fragments; sent again, a message calls for no write.
  const RecordAccount account = record(messages + std::vector{foreign, foreign}, 0, 2);
  EXPECT_EQ(account.refused.messages, 2u);
  EXPECT_EQ(account.refusal, "Invalid message type.");
  EXPECT_EQ(context_.errorCount(), 4u) << "no line twice for one message\n" << capture_.text();
  EXPECT_EQ(test::k2r({"export", path_, "--out", directory_.file("all.mtg")}).status, 0);
  EXPECT_EQ(framesOf(test::messagesOf(directory_.file("all.mtg"))), framesOf(messages));
}

TEST_F(RecordSessionTest, SaysWhenTimesHavePassedTheEndOfARecording) {
  const auto isEnd = testing::HasSubstr("what follows cannot be recorded");
  record(test::framesAt("100000k 104000k 0k 40"), 0, 0);
  EXPECT_THAT(capture_.text(), testing::Not(isEnd)) << "times that fall";
  record(test::framesAt("0k 4000k 4294960000k 4294964000k 0k 40"), 0, 0);
  EXPECT_THAT(capture_.text(), isEnd);
}

TEST_F(RecordSessionTest, DoesNotGoOnBehindAFullQueueBeforeAFragmentIsWritten) {
  constexpr int kEver = 1 << 30;
  const auto account = record(test::av().until(60001), 8, kEver, {.maxQueue = 16000});
  EXPECT_THAT(capture_.text(), testing::HasSubstr("as many as the queue limit allows"));
  EXPECT_THAT(capture_.text(), testing::Not(testing::HasSubstr("the recording continues")));
  EXPECT_EQ(account.gapMs, 0u) << "behind the last fragment nothing is a gap";
  EXPECT_GT(account.lost.messages, 10u);
}

}  // namespace
}  // namespace host
