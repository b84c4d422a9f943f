#include "server/compositemessage.h"

#include "tests/support/testing.h"
#include "util/NQThrowable.h"
#include "util/messagebuffer.h"

namespace qvs {
namespace {

/// The aggregate over a block that contains just this body.
CompositeMessagePtr compositeOf(const char* body) {
  const auto bytes = test::fromHex(body);
  const auto block = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::ranges::copy(bytes, block->data());
  return CompositeMessagePtr::make(block, block->capacity());
}

// An audio message at 5, a protected picture at 9 and an empty data message at 7, the last with a stream id.
const char* const kBody =
    "08000002 00000500 000000 af01 0000000d"
    "29000001 00000900 000000 17 ffffffff"
    "12000000 00000700 0000c8 0000000b";

/// Which members are in: "12", or "-" without a composite.
std::string membersOf(const CompositeMessagePtr& composite) {
  if (!composite) return "-";
  std::string indexes;
  for (const auto& member : *composite) indexes += std::to_string(member->index());
  return indexes;
}

TEST(CompositeMessage, ReadsMembersByteForByte) {
  const auto composite = compositeOf(kBody);
  std::string members;
  for (const auto& member : *composite) {
    EXPECT_EQ(&member->owner(), composite.get());
    members += std::to_string(member->offset()) + ": " + test::hex(member->header()) + " | " +
               test::hex(member->payload()) + (member->protectedFlag() ? " protected; " : "; ");
  }
  EXPECT_EQ(members,
            "0: 08000002 00000500 000000 | af01; 17: 09000001 00000900 000000 | 17 protected; "
            "33: 12000000 00000700 0000c8 | ; ");
  EXPECT_EQ(test::hex(composite->header()), "16000030 00000500 000000") << "the first time";
  EXPECT_EQ(composite->timestamp(), 7U) << "the last one";
  EXPECT_EQ(
      std::tuple(composite->kindCount(9), composite->audioCodecs(), composite->videoCodecs(), composite->dataKinds()),
      std::tuple(1U, 0x400, 0x80, 1));
  EXPECT_EQ(composite->data()->usedLength(), 48U);
}

using Parts = std::pair<CompositeMessagePtr, CompositeMessagePtr>;

std::string membersOf(const Parts& parts) {
  return membersOf(parts.first) + " " + membersOf(parts.second);
}

TEST(CompositeMessage, RefusesBodiesThatDoNotAddUpAndBlocksThatAreNotThere) {
  // No member, half a header, a header only, lengths beyond the body and beyond all, a rest after the last member.
  for (const char* body : {"", "08000002 000005", "08000000 00000500 000000", "08000003 00000500 000000 af01",
                           "08ffffff 00000500 000000 af01 0000000d", "08000000 00000500 000000 0000000b 08"})
    EXPECT_THROW(compositeOf(body), NQException) << body;
  // The last back pointer may be cut short.
  for (const char* body : {"08000002 00000500 000000 af01 ", "08000000 00000500 000000 00"})
    EXPECT_EQ(compositeOf(body)->memberCount(), 1U) << body;
  EXPECT_THROW(CompositeMessagePtr::make(NQMemoryPtr(), 0U), NQException);
  const auto root = compositeOf(kBody);
  EXPECT_THROW(CompositeMessagePtr::make(root->data(), 49U), NQException);
  EXPECT_THROW(CompositeMessagePtr::make(root, root->data(), root->begin(), root->begin()), NQException);
}

TEST(CompositeMessage, ManyPartsInOneAnotherEndAndAViewOfAViewHoldsTheBlockItself) {
  const auto root = compositeOf(kBody);
  CompositeMessagePtr part = root;
  const auto block = NQMemoryPtr::make(4U);
  NQMemoryPtr view = block;
  for (int i = 0; i < 500000; ++i) {
    part = CompositeMessagePtr::make(part, root->data(), root->begin(), root->end());
    view = NQPtr<CompositeMessage::PartialMemory>::make(view, 0U, 3U);
  }
  part.reset();
  EXPECT_EQ(root->refCount(), 1);
  EXPECT_EQ(block->refCount(), 2);
  EXPECT_EQ(view->data(), block->data());
  EXPECT_EQ(view->usedLength(), 3U);
  for (const std::uint32_t length : {2U, 0xFFFFFFFFU})
    EXPECT_THROW(NQPtr<CompositeMessage::PartialMemory>::make(view, 2U, length), NQException) << length;
}

/// A root of messages at these times, of as many bytes as their number.
CompositeMessagePtr compositeAt(std::initializer_list<std::uint32_t> times) {
  util::MessageBuffer body;
  body.allocate();
  for (const auto time : times) body.append(9, std::vector<std::byte>(body.appended()), time);
  return CompositeMessagePtr::make(body.buffer().memory(), body.buffer().end());
}

Parts splitByCount(const CompositeMessagePtr& composite, std::uint32_t count) {
  Parts parts;
  composite->splitByCount(count, parts.first, parts.second);
  return parts;
}

TEST(CompositeSplit, GoesByCountOrByTheFirstMemberAtOrAboveATime) {
  const auto root = compositeAt({10, 0xFFFFFFF0, 5, 20});
  using Rows = std::vector<std::pair<std::uint32_t, const char*>>;
  for (const auto& [count, expected] :
       Rows{{0, "- 0123"}, {1, "0 123"}, {3, "012 3"}, {4, "0123 -"}, {0xFFFFFFFF, "0123 -"}})
    EXPECT_EQ(membersOf(splitByCount(root, count)), expected) << count;
  for (const auto& [time, expected] :
       Rows{{10, "- 0123"}, {11, "0 123"}, {0xFFFFFFF0, "0 123"}, {0xFFFFFFFF, "0123 -"}}) {
    Parts parts;
    root->splitByTime(time, parts.first, parts.second);
    EXPECT_EQ(membersOf(parts), expected) << time;
  }
  EXPECT_EQ(splitByCount(root, 0).second, root) << "no part of its own";
}

TEST(CompositeSplit, MayReplaceTheOnlyHolderAndMembersKeepTheBodyAlive) {
  Parts parts{compositeAt({1, 2, 3}), {}};
  const SingleMessagePtr member(parts.first->begin()->get());
  parts.first->splitByCount(1, parts.first, parts.second);
  EXPECT_EQ(membersOf(parts), "0 12");
  parts.second->splitByCount(1, parts.first, parts.second);
  EXPECT_EQ(membersOf(parts), "1 2");
  parts.second->splitByCount(0, parts.second, parts.second);
  EXPECT_EQ(membersOf(parts.second), "2");
  parts = {};
  EXPECT_EQ(test::hex(member->header()), "09000000 00000100 000000");
}

TEST(CompositeSplit, RemaindersAreWhatTheNextOneAboveHasBeside) {
  const auto root = compositeAt({1, 2, 3, 4, 5});
  const auto outer = splitByCount(splitByCount(root, 4).first, 1).second;
  const auto inner = splitByCount(splitByCount(outer, 1).second, 1);
  EXPECT_EQ(membersOf(outer) + " " + membersOf(inner), "123 2 3");

  EXPECT_EQ(membersOf(inner.first->trailingRemainder()), "3");
  EXPECT_EQ(membersOf(inner.second->trailingRemainder()), "4");
  EXPECT_EQ(membersOf(inner.first->leadingRemainder()), "1");
  EXPECT_EQ(membersOf(outer->leadingRemainder()), "0");
  EXPECT_EQ(membersOf(root->trailingRemainder()) + membersOf(root->leadingRemainder()), "--");

  // Its bytes are those of its members, though the composite above does not start where the root does.
  const auto remainder = inner.first->leadingRemainder();
  EXPECT_EQ(remainder->data()->data() + 11, (*remainder->begin())->data()->data());
  EXPECT_EQ(remainder->length(), 16U);
}

}  // namespace
}  // namespace qvs
