#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "server/compositemessage.h"
#include "tests/server/aggregates.h"
#include "util/messagebuffer.h"

namespace qvs {
namespace {

CompositeMessagePtr compositeOf(const util::MessageBuffer& body) {
  return CompositeMessagePtr::make(body.buffer().memory(), body.buffer().end());
}

/// A root of messages at these times, of as many bytes as their number.
CompositeMessagePtr compositeAt(std::initializer_list<std::uint32_t> times) {
  util::MessageBuffer body;
  body.allocate();
  for (const auto time : times) body.append(9, std::vector<std::byte>(body.appended()), time);
  return compositeOf(body);
}

/// Which members are in: "12", or "-" without a composite.
std::string membersOf(const CompositeMessagePtr& composite) {
  if (!composite) return "-";
  std::string indexes;
  for (const auto& member : *composite) indexes += std::to_string(member->index());
  return indexes;
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

TEST(CompositeSplit, ByCount) {
  const auto root = compositeAt({1, 2, 3});
  const struct {
    std::uint32_t count;
    const char *first, *second;
  } rows[] = {{0, "-", "012"}, {1, "0", "12"}, {2, "01", "2"}, {3, "012", "-"}, {0xFFFFFFFF, "012", "-"}};
  for (const auto& row : rows) {
    const auto parts = splitByCount(root, row.count);
    EXPECT_EQ(membersOf(parts.first), row.first) << row.count;
    EXPECT_EQ(membersOf(parts.second), row.second) << row.count;
  }
  EXPECT_EQ(splitByCount(root, 0).second, root);
  EXPECT_EQ(splitByCount(root, 3).first, root);
}

TEST(CompositeSplit, ByTheFirstMemberAtOrAboveATime) {
  const auto root = compositeAt({10, 0xFFFFFFF0, 5, 20});
  const struct {
    std::uint32_t time;
    const char *first, *second;
  } rows[] = {
      {0, "-", "0123"}, {10, "-", "0123"}, {11, "0", "123"}, {0xFFFFFFF0, "0", "123"}, {0xFFFFFFFF, "0123", "-"}};
  for (const auto& row : rows) {
    Parts parts;
    root->splitByTime(row.time, parts.first, parts.second);
    EXPECT_EQ(membersOf(parts.first), row.first) << row.time;
    EXPECT_EQ(membersOf(parts.second), row.second) << row.time;
  }
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

class AnyAggregate : public testing::TestWithParam<unsigned> {
 protected:
  AnyAggregate() : random_(GetParam()) {
    body_.allocate();
    for (int i = upTo(20); i >= 0; --i) {
      const std::vector<std::byte> payload(static_cast<std::size_t>(upTo(3) * upTo(3000)), std::byte(upTo(255)));
      body_.append(static_cast<std::uint8_t>(upTo(255)), payload, static_cast<std::uint32_t>(random_()));
    }
  }

  int upTo(int limit) { return std::uniform_int_distribution(0, limit)(random_); }

  /// Holds a part against the place in the body where it should stand, and answers the place behind it.
  const std::byte* expectAt(const std::byte* place, const CompositeMessagePtr& part) {
    if (!part) return place;
    EXPECT_EQ(part->payload().data(), place);
    EXPECT_EQ((*part->begin())->data()->data(), place + util::kTagHeaderSize);
    EXPECT_EQ(part->length(), part->payload().size());
    return place + part->payload().size();
  }

  std::mt19937 random_;
  util::MessageBuffer body_;
};

TEST_P(AnyAggregate, LosesAndCopiesNoByteWhereverItIsSplit) {
  const auto root = compositeOf(body_);
  const std::byte* const front = root->data()->data();
  for (std::uint32_t count = 0; count <= root->memberCount(); ++count) {
    const auto parts = splitByCount(root, count);
    EXPECT_EQ(expectAt(expectAt(front, parts.first), parts.second), front + body_.buffer().end());
    EXPECT_EQ(membersOf(parts.first) + membersOf(parts.second),
              count % root->memberCount() == 0 ? (count == 0 ? "-" + membersOf(root) : membersOf(root) + "-")
                                               : membersOf(root));
  }
}

TEST_P(AnyAggregate, RemaindersAndAPartMakeUpTheWhole) {
  const auto root = compositeOf(body_);
  CompositeMessagePtr part = root;
  for (int i = 0; i < 4 && part->memberCount() > 1; ++i) {
    const auto parts = splitByCount(part, static_cast<std::uint32_t>(upTo(static_cast<int>(part->memberCount()))));
    part = parts.first && (upTo(1) == 0 || !parts.second) ? parts.first : parts.second;
  }
  const std::byte* front = part->payload().data();
  const std::byte* back = front + part->payload().size();
  for (auto lead = part->leadingRemainder(); lead; lead = lead->leadingRemainder()) {
    front -= lead->payload().size();
    expectAt(front, lead);
  }
  for (auto trail = part->trailingRemainder(); trail; trail = trail->trailingRemainder()) back = expectAt(back, trail);
  EXPECT_EQ(front, root->data()->data());
  EXPECT_EQ(back, front + body_.buffer().end());
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyAggregate, testing::Range(0U, 40U));

}  // namespace
}  // namespace qvs
