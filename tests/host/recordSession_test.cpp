// An input on its way into a recording, while the disk is full for a while.

#include "host/record/RecordSession.h"

#include <gtest/gtest.h>

#include <memory>

#include "host/OpenContext.h"
#include "host/Settings.h"
#include "tests/host/hostTools.h"
#include "tests/module/loadModule.h"

namespace host {
namespace {

/// A disk that takes nothing for so many writes.
class FullDisk final : public test::DiskFileContext {
 public:
  std::int32_t write(std::int32_t handle, std::uint64_t at, const void* data, std::uint32_t length) override {
    return writesToFail > 0 && writesToFail-- > 0 ? -1 : DiskFileContext::write(handle, at, data, length);
  }
  int writesToFail = 0;
};

class ListInput final : public Input {
 public:
  explicit ListInput(std::vector<test::StreamMessage> messages) : messages_(std::move(messages)) {}
  std::optional<InputMessage> next() override {
    if (next_ == messages_.size()) return std::nullopt;
    const auto& message = messages_[next_++];
    return InputMessage{message.type, message.time, message.data};
  }

 private:
  std::vector<test::StreamMessage> messages_;
  std::size_t next_ = 0;
};

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
  FullDisk files;
  test::LogCapture capture;
  const Settings settings;
  StreamContext context(settings, capture.log(), files);
  OpenContext openContext(settings);
  IMOStreamAdaptor* made = nullptr;
  ASSERT_TRUE(test::loadModule()(&context, &made));
  const std::unique_ptr<IMOStreamAdaptor> adaptor(made);
  {
    Recording recording(*adaptor, openContext, test::modulePath(path), false);
    Progress progress(ProgressStyle::kNone, capture.log());
    RecordSession session(recording, context, capture.log(), progress, nullptr);
    files.writesToFail = 3;  // The segment's header, at the first fragment, twice again, and at the second one.
    ListInput input(messages + std::vector{foreign, foreign});
    session.run(input);
    recording.stop();
    EXPECT_EQ(session.refused(), 2u);
    EXPECT_EQ(session.firstReason(), "Invalid message type.");
  }
  EXPECT_EQ(context.errorCount(), 5u) << "no line twice for one message\n" << capture.text();
  EXPECT_EQ(test::k2r({"export", path, "--out", directory.file("all.mtg")}).status, 0);
  EXPECT_EQ(framesOf(test::messagesOf(directory.file("all.mtg"))), framesOf(messages));
}

}  // namespace
}  // namespace host
