#include "server/compositemessage.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "tests/server/messages.h"
#include "util/NQThrowable.h"
#include "util/messagebuffer.h"

namespace qvs {
namespace {

using test::compositeOf;

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
  const struct {
    const char* header;
    const char* payload;
    bool isProtected;
    std::uint32_t offset;
  } rows[] = {{"08000002 00000500 000000", "af01", false, 0},
              {"09000001 00000900 000000", "17", true, 17},
              {"12000000 00000700 0000c8", "", false, 33}};
  ASSERT_EQ(composite->memberCount(), 3U);
  auto member = composite->begin();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.header);
    EXPECT_EQ(test::hex((*member)->header()), row.header);
    EXPECT_EQ(test::hex((*member)->payload()), row.payload);
    EXPECT_EQ((*member)->protectedFlag(), row.isProtected);
    EXPECT_EQ((*member)->offset(), row.offset);
    EXPECT_EQ(&(*member)->owner(), composite.get());
    ++member;
  }
  EXPECT_EQ(membersOf(composite), "012");
}

TEST(CompositeMessage, HeaderHasTheFirstTimeAndTimestampTheLast) {
  const auto composite = compositeOf(kBody);
  EXPECT_EQ(test::hex(composite->header()), "16000030 00000500 000000");
  EXPECT_EQ(composite->timestamp(), 7U);
  EXPECT_EQ(composite->data()->usedLength(), 48U);
}

TEST(CompositeMessage, CountsKindsAndCodecs) {
  const auto composite = compositeOf(kBody);
  EXPECT_EQ(composite->audioCodecs(), 1U << 10);
  EXPECT_EQ(composite->videoCodecs(), 1U << 7);
  EXPECT_EQ(composite->dataKinds(), 1);
  EXPECT_FALSE(composite->isNonVideoOrInfoFrame());
  EXPECT_EQ(composite->kindCount(9), 1U);
  EXPECT_EQ(composite->kindCount(24), 0U);
  KindCounts counts = {};
  counts[8] = 5;
  composite->countKinds(counts);
  EXPECT_EQ(counts[8], 6U);
  EXPECT_EQ(counts[18], 1U);
}

TEST(CompositeMessage, KindsOutsideTheTableAreMembersAllTheSame) {
  const auto composite = compositeOf("1f000000 00000000 000000 0000000b 48000000 00000000 000000 0000000b");
  EXPECT_EQ(composite->memberCount(), 2U);
  EXPECT_EQ(composite->kindCount(8), 1U);
  EXPECT_EQ(composite->audioCodecs(), 0);
}

TEST(CompositeMessage, AudioWithoutAPayloadSetsTheFirstBit) {
  const auto composite = compositeOf("08000000 00000100 000000 ffffffff 0f000001 00000100 000000 00 0000000c");
  EXPECT_EQ(composite->audioCodecs(), 1);
  EXPECT_EQ(composite->dataKinds(), 2);
  EXPECT_TRUE(composite->isNonVideoOrInfoFrame());
}

TEST(CompositeMessage, LastBackPointerMayBeCutShort) {
  EXPECT_EQ(compositeOf("08000002 00000500 000000 af01 ")->memberCount(), 1U);
  EXPECT_EQ(compositeOf("08000000 00000500 000000 00")->memberCount(), 1U);
}

TEST(CompositeMessage, RefusesBodiesThatDoNotAddUp) {
  const struct {
    const char* why;
    const char* body;
  } rows[] = {{"no member", ""},
              {"half a header", "08000002 000005"},
              {"a header only", "08000000 00000500 000000"},
              {"length beyond the body", "08000003 00000500 000000 af01"},
              {"length beyond all", "08ffffff 00000500 000000 af01 0000000d"},
              {"a rest behind the last member", "08000000 00000500 000000 0000000b 08"}};
  for (const auto& row : rows) EXPECT_THROW(compositeOf(row.body), NQException) << row.why;
}

TEST(CompositeMessage, RefusesBlocksThatAreNotThere) {
  EXPECT_THROW(CompositeMessagePtr::make(NQMemoryPtr(), 0U), NQException);
  const auto block = test::blockOf(test::fromHex(kBody));
  EXPECT_THROW(CompositeMessagePtr::make(block, 49U), NQException);
  EXPECT_EQ(block->usedLength(), 0U);
  const auto root = compositeOf(kBody);
  EXPECT_THROW(CompositeMessagePtr::make(root, root->data(), root->begin(), root->begin()), NQException);
}

TEST(CompositeMessage, IsReadFromTheUsedPartOfAMessage) {
  const auto message = NQMessagePtr::make(100U);
  message->setType(MessageKind::kAggregate);
  EXPECT_THROW(CompositeMessage::create(message), NQException);
  message->append(test::fromHex(kBody));
  const auto composite = CompositeMessage::create(message);
  EXPECT_EQ(composite->data(), message->data());
  EXPECT_EQ(membersOf(composite), "012");
}

TEST(CompositeMessage, MemberKeepsTheBodyAlive) {
  SingleMessagePtr member;
  {
    CompositeMessagePtr first;
    CompositeMessagePtr second;
    compositeOf(kBody)->splitByCount(1, first, second);
    member = second->begin()->get();
  }
  EXPECT_EQ(test::hex(member->payload()), "17");
}

TEST(CompositeMessage, ManyPartsInOneAnotherEnd) {
  const auto root = compositeOf(kBody);
  CompositeMessagePtr part = root;
  for (int i = 0; i < 500000; ++i) part = CompositeMessagePtr::make(part, root->data(), root->begin(), root->end());
  part.reset();
  EXPECT_EQ(root->refCount(), 1);
}

TEST(CompositeMessage, ViewOfAViewHoldsTheBlockItself) {
  const auto block = test::blockOf(test::fromHex("00010203"));
  NQMemoryPtr view = block;
  for (int i = 0; i < 500000; ++i) view = NQPtr<CompositeMessage::PartialMemory>::make(view, 0U, 3U);
  EXPECT_EQ(block->refCount(), 2);
  EXPECT_EQ(view->data(), block->data());
  EXPECT_EQ(view->usedLength(), 3U);
  EXPECT_THROW(NQPtr<CompositeMessage::PartialMemory>::make(view, 2U, 2U), NQException);
  EXPECT_THROW(NQPtr<CompositeMessage::PartialMemory>::make(view, 2U, 0xFFFFFFFFU), NQException);
}

/// A root of messages at these times, of as many bytes as their number.
CompositeMessagePtr compositeAt(std::initializer_list<std::uint32_t> times) {
  util::MessageBuffer body;
  body.allocate();
  for (const auto time : times) body.append(9, std::vector<std::byte>(body.appended()), time);
  return CompositeMessagePtr::make(body.buffer().memory(), body.buffer().end());
}

struct Parts {
  CompositeMessagePtr first;
  CompositeMessagePtr second;
};

Parts splitByCount(const CompositeMessagePtr& composite, std::uint32_t count) {
  Parts parts;
  composite->splitByCount(count, parts.first, parts.second);
  return parts;
}

TEST(CompositeSplit, GoesByCountOrByTheFirstMemberAtOrAboveATime) {
  const auto root = compositeAt({10, 0xFFFFFFF0, 5, 20});
  const struct {
    void (CompositeMessage::*split)(std::uint32_t, CompositeMessagePtr&, CompositeMessagePtr&);
    std::uint32_t at;
    const char *first, *second;
  } rows[] = {{&CompositeMessage::splitByCount, 0, "-", "0123"},
              {&CompositeMessage::splitByCount, 1, "0", "123"},
              {&CompositeMessage::splitByCount, 3, "012", "3"},
              {&CompositeMessage::splitByCount, 4, "0123", "-"},
              {&CompositeMessage::splitByCount, 0xFFFFFFFF, "0123", "-"},
              {&CompositeMessage::splitByTime, 10, "-", "0123"},
              {&CompositeMessage::splitByTime, 11, "0", "123"},
              {&CompositeMessage::splitByTime, 0xFFFFFFF0, "0", "123"},
              {&CompositeMessage::splitByTime, 0xFFFFFFFF, "0123", "-"}};
  for (const auto& row : rows) {
    Parts parts;
    (root.get()->*row.split)(row.at, parts.first, parts.second);
    EXPECT_EQ(membersOf(parts.first), row.first) << row.at;
    EXPECT_EQ(membersOf(parts.second), row.second) << row.at;
  }
  EXPECT_EQ(splitByCount(root, 0).second, root) << "no part of its own";
  EXPECT_EQ(splitByCount(root, 4).first, root);
}

TEST(CompositeSplit, PartsDescribeTheirOwnMembers) {
  const auto root = test::compositeOf(
      "08000001 00000500 000000 af 0000000c"
      "09000001 00000900 000000 17 0000000c");
  const auto parts = splitByCount(root, 1);
  EXPECT_EQ(test::hex(parts.second->header()), "16000010 00000900 000000");
  EXPECT_EQ(test::hex(parts.second->payload()), "09000001 00000900 00000017 0000000c");
  EXPECT_EQ(parts.first->timestamp(), 5U);
  EXPECT_TRUE(parts.first->isNonVideoOrInfoFrame());
  EXPECT_EQ(parts.second->audioCodecs(), 0);
  EXPECT_EQ(parts.second->kindCount(9), 1U);
  EXPECT_EQ(parts.second->memberCount(), 1U);
  EXPECT_EQ(parts.second->parent(), root);
}

TEST(CompositeSplit, MayReplaceTheOnlyHolder) {
  auto composite = compositeAt({1, 2, 3});
  CompositeMessagePtr rest;
  composite->splitByCount(1, composite, rest);
  EXPECT_EQ(membersOf(composite) + " " + membersOf(rest), "0 12");
  rest->splitByCount(1, composite, rest);
  EXPECT_EQ(membersOf(composite) + " " + membersOf(rest), "1 2");
  rest->splitByCount(0, rest, rest);
  EXPECT_EQ(membersOf(rest), "2");
}

TEST(CompositeSplit, RemaindersAreWhatTheNextOneAboveHasBeside) {
  const auto root = compositeAt({1, 2, 3, 4, 5});
  const auto outer = splitByCount(splitByCount(root, 4).first, 1).second;
  const auto inner = splitByCount(splitByCount(outer, 1).second, 1);
  EXPECT_EQ(membersOf(outer) + " " + membersOf(inner.first) + " " + membersOf(inner.second), "123 2 3");

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
