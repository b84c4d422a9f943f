#include "host/input/Backlog.h"

#include "host/errors.h"
#include "host/input/CodecChanges.h"
#include "tests/host/hostTools.h"

namespace host {
namespace {

TEST(Backlog, BeginsWithWhatCanBeDecoded) {
  using Messages = std::vector<test::StreamMessage>;
  const auto sound = [](std::uint32_t timeMs) { return test::aacFrame(timeMs, 10, timeMs); };
  const auto picture = [](std::uint32_t timeMs, bool key) { return test::avcFrame(timeMs, key, 10, timeMs); };
  const Messages headers = {test::metadata(0), test::avcSequenceHeader(0), test::aacSequenceHeader(0)};
  const std::tuple<const char*, Messages, std::optional<std::uint32_t>, std::size_t> rows[] = {
      {"a key frame", headers + Messages{sound(0), picture(0, false), sound(20), picture(40, true), sound(41)}, 40, 3},
      {"sound whose pictures come late", Messages{headers[0], headers[2], sound(0), headers[1], picture(900, true)},
       900, 1},
      {"sound alone", Messages{headers[0], headers[2], sound(5), sound(600), sound(1006)}, 5, 0},
      {"a little sound alone", Messages{headers[2], sound(5)}, 5, 0},
      {"no key frame", headers + Messages{picture(0, false), picture(40, false)}, std::nullopt, 2}};
  for (const auto& [why, messages, beginMs, dropped] : rows) {
    Backlog backlog(std::make_unique<test::ListInput>(messages));
    EXPECT_EQ(backlog.awaitBegin(), beginMs) << why;
    EXPECT_EQ(backlog.beforeBegin().messages.messages, dropped) << why;
    const auto rest = test::readAll(backlog);
    EXPECT_EQ(rest.size(), messages.size() - dropped) << why;
    EXPECT_EQ(backlog.bytes(), 0U) << why;
  }
}

TEST(Backlog, DropsTheOldestUpToAKeyFrameAndKeepsTheHeaders) {
  const auto messages = test::av(1000).until(10000);
  Backlog backlog(std::make_unique<test::ListInput>(messages));
  backlog.awaitBegin();
  while (backlog.hold(3000)) EXPECT_LE(backlog.bytes(), 3000U);
  const auto kept = test::readAll(backlog);
  EXPECT_EQ(std::vector(kept.begin(), kept.begin() + 3), std::vector(messages.begin(), messages.begin() + 3));
  ASSERT_LT(kept.size(), messages.size());
  EXPECT_EQ(kept[3].data[0], std::byte{0x17});
  EXPECT_TRUE(std::equal(kept.begin() + 3, kept.end(), messages.end() - (std::ssize(kept) - 3)));
  EXPECT_EQ(backlog.overLimit().messages.messages, messages.size() - kept.size());
  EXPECT_EQ(backlog.overLimit().ms, kept[3].time);
}

TEST(Backlog, DropsWhatWasTakenBackFromARecordingFirst) {
  const auto messages = test::av(1000).until(10000);
  auto owner = std::make_unique<Backlog>(std::make_unique<test::ListInput>(messages));
  Backlog& backlog = *owner;
  backlog.awaitBegin();
  CodecChanges input(std::move(owner), false);
  input.beginRecording();
  input.splitWhen([](const CodecChanges::SplitPoint& point) {
    return point.recordedMs >= 4000 ? std::optional<std::string>("time") : std::nullopt;
  });
  while (input.next()) continue;
  const std::uint32_t beginMs = input.nextBeginMs();
  input.beginRecording();
  backlog.putBack(input.takeBack());
  EXPECT_EQ(backlog.beginMs(), beginMs);
  while (backlog.hold(3000)) continue;
  const auto keptMs = backlog.beginMs();
  ASSERT_TRUE(keptMs);
  EXPECT_GT(*keptMs, beginMs);
  EXPECT_EQ(backlog.overLimit().ms, *keptMs - beginMs);
  input.splitWhen({});
  const auto kept = test::readAll(input);
  const auto frame = std::ranges::find_if(kept, [](const auto& message) {
    return MessageKind({.type = message.type, .timeMs = message.time, .data = message.data}).isKeyFrame();
  });
  ASSERT_NE(frame, kept.end());
  EXPECT_EQ(frame->time, 0U) << "the recording begins with what was kept";
  EXPECT_EQ(kept.back().time, messages.back().time - *keptMs);
}

TEST(Backlog, KeepsWhatCameBeforeAFailure) {
  struct FailingInput : Input {
    explicit FailingInput(std::vector<test::StreamMessage> messages) : list(std::move(messages)) {}
    std::optional<InputMessage> next() override {
      const auto message = list.next();
      return message ? message : throw InputError("gone");
    }
    test::ListInput list;
  };
  const auto messages = test::av(1000).until(2000);
  Backlog backlog(std::make_unique<FailingInput>(messages));
  EXPECT_TRUE(backlog.awaitBegin());
  while (backlog.hold(1 << 20)) continue;
  for (std::size_t i = 0; i < messages.size(); ++i) ASSERT_TRUE(backlog.next()) << i;
  EXPECT_THROW(backlog.next(), InputError);
  EXPECT_FALSE(backlog.next()) << "thrown once";
}

TEST(Backlog, ForgetsWhatItDroppedBefore) {
  const auto messages = test::av(1000).until(20000);
  Backlog backlog(std::make_unique<test::ListInput>(messages));
  backlog.awaitBegin();
  // Too little for anything: all is dropped.
  for (int i = 0; i < 3; ++i) backlog.hold(1);
  for (int i = 0; i < 30; ++i) ASSERT_TRUE(backlog.next());
  const auto before = backlog.overLimit().ms;
  while (backlog.hold(3000)) continue;
  EXPECT_LT(backlog.overLimit().ms - before, 20000 - messages[30].time) << "what was recorded is not lost";
}

}  // namespace
}  // namespace host
