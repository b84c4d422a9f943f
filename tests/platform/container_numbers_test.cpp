// Numbers at the edges of their fields: times, dates, and boxes around more bytes than a test has.

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <stdexcept>

#include "platform/container/FragmentPlan.h"
#include "platform/container/StatusError.h"
#include "platform/container/boxes.h"
#include "platform/container/dates.h"
#include "platform/container/fragmentBoxes.h"
#include "platform/container/numbers.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"
#include "tests/wrappers/statusOf.h"

namespace krvo::container {
namespace {

using test::MemoryStream;

TEST(Rescale, IsExactInWholeNumbers) {
  const struct {
    std::uint64_t value;
    std::uint32_t from;
    std::uint32_t to;
    std::uint64_t result;
  } rows[] = {{123, 1000, 1000, 123},
              {1, 1000, 90000, 90},
              {90045, 90000, 1000, 1001},  // half rounds up
              {90044, 90000, 1000, 1000},
              {0xFFFFFFFFFFFFFFFF, 4294967295, 1, 4294967297},
              {0xFFFFFFFFFFFFFFFF, 1000, 1000, 0xFFFFFFFFFFFFFFFF},
              {4294967294, 4294967295, 4294967294, 4294967293}};
  for (const auto& row : rows) EXPECT_EQ(rescale(row.value, row.from, row.to), row.result) << row.value;
  EXPECT_THROW(rescale(std::uint64_t{1} << 60, 1, 90000), std::out_of_range);
}

TEST(Rescale, KeepsTheSign) {
  EXPECT_EQ(rescale(std::int32_t{-40}, 1000, 90000), -3600);
  EXPECT_EQ(rescale(std::numeric_limits<std::int32_t>::min(), 1, 1), std::numeric_limits<std::int32_t>::min());
  EXPECT_THROW(rescale(std::numeric_limits<std::int32_t>::min(), 1, 2), std::out_of_range);
}

// Dates are their size 8, day, month, 0, year, hour, minute, second, 0.
std::string image(const K2MDate& date) {
  return test::hex(std::as_bytes(std::span(&date, 1)));
}

TEST(Dates, CountSecondsFrom1904) {
  const struct {
    K2MDate date;
    std::uint64_t seconds;
  } rows[] = {{{8, 1, 1, 0, 1904, 0, 0, 0, 0}, 0},
              {{8, 1, 3, 0, 1904, 0, 0, 0, 0}, 60 * 86400},  // a leap year
              {{8, 1, 1, 0, 1970, 0, 0, 0, 0}, 2082844800},
              {{8, 1, 1, 0, 2024, 23, 59, 59, 0}, 0xE1B7B100 + 86399},
              {{8, 6, 2, 0, 2040, 6, 28, 16, 0}, 0x100000000}};
  for (const auto& row : rows) {
    EXPECT_EQ(toSeconds(row.date), row.seconds);
    EXPECT_EQ(image(toDate(row.seconds)), image(row.date));
  }
  EXPECT_EQ(toDate(0xFFFFFFFFFFFFFFFF).year, 9999);
}

TEST(Dates, OutOfTheirRangesAreRefused) {
  const K2MDate rows[] = {
      {8, 31, 12, 0, 1903, 0, 0, 0, 0}, {8, 1, 1, 0, 10000, 0, 0, 0, 0}, {8, 1, 0, 0, 2024, 0, 0, 0, 0},
      {8, 1, 13, 0, 2024, 0, 0, 0, 0},  {8, 0, 1, 0, 2024, 0, 0, 0, 0},  {8, 32, 1, 0, 2024, 0, 0, 0, 0},
      {8, 1, 1, 0, 2024, 24, 0, 0, 0},  {8, 1, 1, 0, 2024, 0, 60, 0, 0}, {8, 1, 1, 0, 2024, 0, 0, 60, 0}};
  for (const K2MDate& wrong : rows) {
    EXPECT_EQ(test::statusOf<StatusError>([&] { toSeconds(wrong); }), kKrvoBadDate) << image(wrong);
  }
}

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
