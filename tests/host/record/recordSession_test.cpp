// An input on its way into a recording, while the disk is full for a while.

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

TEST(RecordSession, LosesNothingToADiskThatWasFullAndSendsNothingTwice) {
  const test::TempDirectory directory;
  const std::string path = directory.file("cam1");
  const auto messages = test::av().until(20001);
  const test::StreamMessage foreign{22, 20001, {std::byte{1}}};
  test::DiskFileContext files;
  test::LogCapture capture;
  const Settings settings;
  StreamContext context(settings, capture.log(), files, {});
  OpenContext openContext(settings);
  IMOStreamAdaptor* made = nullptr;
  ASSERT_TRUE(test::loadModule()(&context, &made));
  const std::unique_ptr<IMOStreamAdaptor> adaptor(made);
  {
    Recording recording(*adaptor, openContext, test::modulePath(path), false);
    Progress progress(ProgressStyle::kNone, capture.log());
    StreamFollower follower(4000, false);
    RecordSession session(recording, context, follower, capture.log(), progress, nullptr, {});
    // The segment's header, at the first two fragments; sent again, a message calls for no write.
    files.permits = [toFail = 2](std::string_view operation) mutable { return operation != "write" || toFail-- <= 0; };
    test::ListInput input(messages + std::vector{foreign, foreign});
    session.run(input);
    recording.stop();
    EXPECT_EQ(session.account().refused.messages, 2u);
    EXPECT_EQ(session.account().refusal, "Invalid message type.");
  }
  EXPECT_EQ(context.errorCount(), 4u) << "no line twice for one message\n" << capture.text();
  EXPECT_EQ(test::k2r({"export", path, "--out", directory.file("all.mtg")}).status, 0);
  EXPECT_EQ(framesOf(test::messagesOf(directory.file("all.mtg"))), framesOf(messages));
}

}  // namespace
}  // namespace host
