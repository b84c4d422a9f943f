#include "host/UnfinishedFragments.h"

#include "tests/support/testing.h"

namespace host {
namespace {

using test::fromHex;

/// Boxes of 8 bytes before an `mdat`.
const std::string kBoxes = "00000008 61667261 00000008 61627374 00000008 6d6f6f66 ";

TEST(UnfinishedFragments, LackBytesOfAnMdatWhoseSizeIsThere) {
  const std::tuple<const char*, std::string, bool> rows[] = {
      {"a byte is missing", kBoxes + "0000000a 6d646174 00", true},
      {"a byte is missing after a 64-bit size", kBoxes + "00000001 6d646174 00000000 00000011", true},
      {"all is there, and another box", kBoxes + "0000000a 6d646174 0000 00000008 66726565", false},
      {"half a size", kBoxes + "00000001 6d646174 00000000", false},
      {"a size beyond all files", kBoxes + "00000001 6d646174 ffffffff ffffffff", false},
      {"a size up to the end of the file", kBoxes + "00000000 6d646174 0000", false}};
  for (const auto& [why, written, expected] : rows) {
    EXPECT_EQ(UnfinishedFragments().isUnfinishedAfter(3, 100, fromHex(written)), expected) << why;
  }
}

TEST(UnfinishedFragments, GoByTheLastWriteOfTheirFile) {
  const auto first = fromHex(kBoxes + "0000000b 6d646174 00"), byte = fromHex("00");
  const std::uint64_t next = 100 + first.size();
  UnfinishedFragments fragments;
  const auto isUnfinishedAfter = [&](std::int32_t handle, std::uint64_t offset) {
    EXPECT_TRUE(fragments.isUnfinishedAfter(3, 100, first));
    return fragments.isUnfinishedAfter(handle, offset, byte);
  };
  EXPECT_FALSE(isUnfinishedAfter(4, next)) << "another file";
  EXPECT_FALSE(isUnfinishedAfter(3, next + 1)) << "another place";
  EXPECT_TRUE(isUnfinishedAfter(3, next));
  EXPECT_FALSE(fragments.isUnfinishedAfter(3, next + 1, byte)) << "the last byte";
  EXPECT_TRUE(fragments.isUnfinishedAfter(3, 100, first));
  fragments.forget(3);
  EXPECT_FALSE(fragments.isUnfinishedAfter(3, next, byte)) << "closed";
}

}  // namespace
}  // namespace host
