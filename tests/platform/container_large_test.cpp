// Numbers at the edges of their fields: boxes around more bytes than a test has.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "platform/container/FragmentPlan.h"
#include "platform/container/boxes.h"
#include "platform/container/fragmentBoxes.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"

namespace krvo::container {
namespace {

using test::MemoryStream;

/// The boxes of a fragment with a tag of that many bytes and, where wanted, a sample of audio in another one behind it.
std::vector<std::byte> boxesAround(std::uint32_t tagBytes, bool hasAudio) {
  Movie movie;
  for (const FourCC handler : {"soun"_4cc, "hint"_4cc}) {
    movie.tracks.push_back(std::make_shared<Track>());
    movie.tracks.back()->handler = handler;
  }
  OpenFragment fragment;
  fragment.add({OwnedData(), tagBytes}, {.hint = {1, {.size = tagBytes}}, .media = {}, .accessPoint = {}});
  const OpenFragment::TrackSample audio{0, {.offset = 13, .size = 5}};
  if (hasAudio) fragment.add({OwnedData(), 22}, {.hint = {1, {.size = 22}}, .media = audio, .accessPoint = {}});
  FragmentPlan plan;
  plan.make(fragment, movie);
  qvs::util::ByteWriter out;
  writeFragmentBoxes(out, plan, fragment, 1);
  return out.take();
}

TEST(LargeFragment, HasA64BitSizeWhereItIsNeeded) {
  const struct {
    std::uint32_t tagBytes;
    const char* mdat;
  } rows[] = {{0xFFFFFFF7, "ffffffff 6d646174"}, {0xFFFFFFF8, "00000001 6d646174 00000001 00000008"}};
  for (const auto& row : rows) {
    const auto boxes = boxesAround(row.tagBytes, false);
    EXPECT_EQ(test::hex(std::span(boxes).last(test::fromHex(row.mdat).size())), row.mdat);
  }
}

TEST(LargeFragment, ReachesNoFurtherThanARunCanTell) {
  EXPECT_THROW(boxesAround(0x7FFFFFFF, true), std::out_of_range);
  EXPECT_NO_THROW(boxesAround(0x7FFFFF00, true));
  EXPECT_NO_THROW(boxesAround(0x7FFFFFFF, false)) << "hints lie one behind another";
}

TEST(LargeFragment, IsRefusedWhereADistanceTakesMoreThan32Bits) {
  MemoryStream stream;
  test::SegmentMaker maker(stream);
  maker.addAudioTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  maker.begin().audio(0, 10).audio(0xFFFFFFFF, 10).audio(0x1FFFFFFFF, 10);
  EXPECT_EQ(test::statusOf([&] { maker.start(); }), kKrvoTooLarge);
  EXPECT_EQ(stream.size(), position) << "nothing was written";
  EXPECT_EQ(maker.heldTags(), 0U);
  maker.begin().audio(0x1FFFFFFFF, 10);
  EXPECT_GT(maker.start(), position);
}

TEST(BoxHeaders, AreHeldAgainstTheFile) {
  const struct {
    const char* what;
    const char* file;
    std::uint64_t size;
    std::uint32_t headerSize;
  } rows[] = {{"32 bits", "0000000c 66726565 00000000 ffff", 12, 8},
              {"64 bits", "00000001 66726565 00000000 00000014 00000000 ffff", 20, 16},
              {"to the end", "00000000 66726565 00000000 ffff", 14, 8},
              {"beyond the end", "0000000d 66726565 00000000", 0, 0},
              {"far beyond", "00000001 66726565 ffffffff ffffffff 00000000", 0, 0},
              {"64 bits, less than the header", "00000001 66726565 00000000 0000000f 00000000", 0, 0},
              {"64 bits, cut", "00000001 66726565 00000000", 0, 0},
              {"less than the header", "00000007 66726565 00000000", 0, 0},
              {"no header", "00000000 667265", 0, 0}};
  for (const auto& row : rows) {
    MemoryStream file(test::fromHex(row.file));
    if (row.size == 0) {
      EXPECT_THROW(readBoxAt(file, 0), SegmentError) << row.what;
    } else {
      const BoxSpan box = readBoxAt(file, 0);
      EXPECT_EQ(box.size, row.size) << row.what;
      EXPECT_EQ(box.headerSize, row.headerSize) << row.what;
    }
  }
}

}  // namespace
}  // namespace krvo::container
