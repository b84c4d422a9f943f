#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "fragmentation/AfraBox.h"
#include "tests/fragmentation/streams.h"
#include "tests/support/hex.h"

namespace {

using namespace ruvo::k2r;
using test::fromHex;
using test::hex;
using test::streamOf;

std::string written(const AfraIndex& index) {
  std::ostringstream out;
  writeAfra(out, index);
  return out.str();
}

AfraIndex read(std::istream& in) {
  AfraIndex index;
  readAfra(in, index);
  return index;
}

AfraIndex read(std::string_view hexImage) {
  auto in = streamOf(fromHex(hexImage));
  return read(in);
}

AfraIndex indexOf(bool longIds, bool longOffsets, std::vector<AfraEntry> local, std::vector<AfraEntry> global) {
  AfraIndex index;
  index.longIds = longIds;
  index.longOffsets = longOffsets;
  index.localEntries = std::move(local);
  index.globalEntries = std::move(global);
  return index;
}

const struct Sample {
  const char* what;
  AfraIndex index;
  const char* image;
} kSamples[] = {
    {"empty", {}, "00000015 61667261 00000000 c0 000003e8 00000000"},
    {"one fragment", indexOf(true, true, {}, {{4000, 3, 2, 0x1122334455667788, 0}}),
     "00000039 61667261 00000000 e0 000003e8 00000000 00000001"
     "0000000000000fa0 00000003 00000002 1122334455667788 0000000000000000"},
    {"narrow", indexOf(false, false, {{1, 0x0A0B0C0D}}, {{0x100000002, 0x0304, 0x0506, 0x0708090A, 11}}),
     "00000039 61667261 00000000 20 000003e8 00000001 0000000000000001 0a0b0c0d 00000001"
     "0000000100000002 0304 0506 0708090a 0000000b"},
    {"long ids only", indexOf(true, false, {}, {{9, 1, 2, kHeldFragmentOffset, 0}}),
     "00000031 61667261 00000000 a0 000003e8 00000000 00000001 0000000000000009 00000001 00000002 00000000 00000000"},
    {"long offsets, local only", indexOf(false, true, {{5, 6}}, {}),
     "00000025 61667261 00000000 40 000003e8 00000001 0000000000000005 0000000000000006"},
};

TEST(Afra, IsWrittenAndReadByteForByte) {
  for (const auto& sample : kSamples) {
    EXPECT_EQ(hex(written(sample.index)), hex(fromHex(sample.image))) << sample.what;
    EXPECT_EQ(read(sample.image), sample.index) << sample.what;
  }
}

TEST(Afra, CutsNumbersThatNarrowFieldsCannotHold) {
  const AfraIndex wide = indexOf(false, false, {{1, 0x100000002}}, {{1, 0x10003, 0x10004, 0x100000005, 0x100000006}});
  EXPECT_EQ(read(hex(written(wide))), indexOf(false, false, {{1, 2}}, {{1, 3, 4, 5, 6}}));
}

TEST(Afra, IgnoresFlagsReservedBitsSizeAndBytesBehind) {
  auto in = streamOf(fromHex("00000001 61667261 0000000000000003 00ffffff df 000003e8 00000000 ffffffff"));
  EXPECT_EQ(read(in), AfraIndex{});
  EXPECT_EQ(in.tellg(), 29);
}

TEST(Afra, RefusesOtherBoxesAndVersions) {
  for (const char* image :
       {"00000015 61667262 00000000 c0 000003e8 00000000", "00000015 61667261 01000000 c0 000003e8 00000000"}) {
    try {
      read(image);
      ADD_FAILURE() << image;
    } catch (const InvalidAfraFormat& failure) {
      EXPECT_EQ(failure.message(), "Could not parse afra index") << image;
    }
  }
}

TEST(Afra, CutShortAnywhereIsAStreamFailure) {
  for (const auto& sample : kSamples) {
    const std::string whole = written(sample.index);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      std::istringstream in(whole.substr(0, size));
      EXPECT_THROW(read(in), std::ios_base::failure) << sample.what << ", " << size;
      EXPECT_EQ(in.exceptions(), std::ios_base::goodbit);
    }
  }
}

TEST(Afra, TakesNoMemoryOnTheWordOfACount) {
  auto in = streamOf(fromHex("00000015 61667261 00000000 e0 000003e8 ffffffff 00000000"));
  AfraIndex index;
  EXPECT_THROW(readAfra(in, index), std::ios_base::failure);
  EXPECT_LT(index.localEntries.capacity(), 64U);
}

TEST(Afra, WritersTellAFullDisk) {
  test::FullDisk disk;
  std::ostream out(&disk);
  EXPECT_THROW(writeAfra(out, {}), std::ios_base::failure);
  EXPECT_EQ(out.exceptions(), std::ios_base::goodbit);
}

TEST(AfraIndex, KnowsWhetherItsNumbersRiseByOne) {
  const struct {
    std::vector<std::uint32_t> fragments;
    bool consecutive;
  } rows[] = {{{}, true},         {{7}, true},     {{7, 8, 9}, true},    {{7, 9}, false},
              {{7, 8, 8}, false}, {{8, 7}, false}, {{1, 2, 3, 5}, false}};
  for (const auto& row : rows) {
    AfraIndex index;
    for (const auto fragment : row.fragments) index.globalEntries.emplace_back(0U, 1U, fragment, 99U, 0U);
    EXPECT_EQ(hasConsecutiveFragments(index), row.consecutive) << row.fragments.size();
  }
}

TEST(AfraIndex, HeldAndEmptyFragmentsAreNotWritten) {
  EXPECT_FALSE(AfraEntry(0, 1, 1, kHeldFragmentOffset, 0).isWritten());
  EXPECT_FALSE(AfraEntry(0, 1, 1, kNoFragmentOffset, 0).isWritten());
  EXPECT_TRUE(AfraEntry(0, 1, 1, 0xFFFFFFFF, 0).isWritten());
}

}  // namespace
