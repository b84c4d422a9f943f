#include "host/UnfinishedFragments.h"

#include "tests/support/testing.h"

namespace host {
namespace {

using test::fromHex;

/// Boxes of 8 bytes before an `mdat`.
const std::string kBoxes = "00000008 61667261 00000008 61627374 00000008 6d6f6f66 ";

TEST(UnfinishedFragments, AreThoseWhoseMdatHasBytesToCome) {
  const struct {
    const char* why;
    std::string first;
    bool isUnfinished;
  } rows[] = {{"the `mdat` lacks a byte", kBoxes + "0000000a 6d646174 00", true},
              {"and begins with a 64-bit size", kBoxes + "00000001 6d646174 00000000 00000011", true},
              {"all is there", kBoxes + "0000000a 6d646174 0000", false},
              {"and a box after it", kBoxes + "0000000a 6d646174 0000 00000008 66726565", false},
              {"a size that is not there yet", kBoxes + "00000001 6d646174 00000000", false},
              {"a size beyond all files", kBoxes + "00000001 6d646174 ffffffff ffffffff", false},
              {"a size up to the end of the file", kBoxes + "00000000 6d646174 0000", false},
              {"half a box", "00000008 61667261 00000009 61627374", false},
              {"no fragment", "0000000a 6d646174 00", false}};
  for (const auto& row : rows) {
    UnfinishedFragments fragments;
    EXPECT_EQ(fragments.isUnfinishedAfter(3, 100, fromHex(row.first)), row.isUnfinished) << row.why;
  }
}

TEST(UnfinishedFragments, EndWithTheWriteThatContinuesThem) {
  const auto first = fromHex(kBoxes + "0000000b 6d646174 00");
  const auto byte = fromHex("00");
  const std::uint64_t next = 100 + first.size();
  UnfinishedFragments fragments;
  ASSERT_TRUE(fragments.isUnfinishedAfter(3, 100, first));
  EXPECT_FALSE(fragments.isUnfinishedAfter(4, next, byte)) << "another file";
  EXPECT_TRUE(fragments.isUnfinishedAfter(3, next, byte));
  EXPECT_FALSE(fragments.isUnfinishedAfter(3, next + 1, byte)) << "the last byte";
  ASSERT_TRUE(fragments.isUnfinishedAfter(3, 100, first));
  EXPECT_FALSE(fragments.isUnfinishedAfter(3, next + 1, byte)) << "elsewhere";
  ASSERT_TRUE(fragments.isUnfinishedAfter(3, 100, first));
  fragments.forget(3);
  EXPECT_FALSE(fragments.isUnfinishedAfter(3, next, byte)) << "closed";
}

}  // namespace
}  // namespace host
