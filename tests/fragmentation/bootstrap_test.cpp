#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "fragmentation/BootstrapReader.h"
#include "fragmentation/BootstrapWriter.h"
#include "tests/fragmentation/streams.h"
#include "tests/support/hex.h"

namespace {

using namespace ruvo::k2r;
using test::fromHex;
using test::hex;
using test::streamOf;

std::string written(const BootstrapInfo& info, bool bodyOnly = false) {
  std::ostringstream out;
  const std::uint64_t count = writeBootstrap(out, info, bodyOnly);
  EXPECT_EQ(count, out.str().size());
  return out.str();
}

BootstrapInfo read(std::istream& in) {
  BootstrapInfo info;
  readBootstrap(in, info);
  return info;
}

BootstrapInfo read(std::span<const std::byte> image) {
  auto in = streamOf(image);
  return read(in);
}

/// After the first fragment of a recording.
constexpr char kFirstFragmentImage[] =
    "0000006a 61627374 00000000"                                             // abst
    "00000001 20 000003e8 0000000000000fa0 0000000000000000 00 00 00 00 00"  // version, live, timescale, times
    "01 00000019 61737274 00000000 00 00000001 00000001 00000001"            // asrt: segment 1 with 1
    "01 00000025 61667274 00000000 000003e8 00 00000001 00000001 0000000000000000 00000fa0";  // afrt: 1 at 0, 4000

BootstrapInfo firstFragment() {
  BootstrapInfo info;
  info.bootstrapVersion = 1;
  info.live = true;
  info.currentMediaTime = 4000;
  info.segmentRunTables.emplace_back().segmentRuns = {{1, 1}};
  info.fragmentRunTables.emplace_back().fragmentRuns = {{1, 0, 4000U}};
  return info;
}

/// Every field in use, no two values alike.
constexpr char kFullImage[] =
    "000000c0 61627374 00000000"
    "01020304 90 00015f90 0000000100000002 0000000300000004 6d6f766900"
    "02 7331 00 7332 00  01 7131 00  6472 6d00 6d65 7461 00"
    "02 00000026 61737274 00000001 02 6100 626300 00000002 00000001 0000000a 00000002 0000000b"
    "   00000011 61737274 00000000 00 00000000"
    "01 00000049 61667274 00000001 0000bb80 01 7800 00000003"
    "   00000005 0000000500000006 00001000"
    "   00000007 0000000700000008 00000000 03"
    "   00000000 0000000000000000 00000000 00";

BootstrapInfo everyField() {
  BootstrapInfo info;
  info.bootstrapVersion = 0x01020304;
  info.profile = 2;
  info.update = true;
  info.timescale = 90000;
  info.currentMediaTime = 0x100000002;
  info.smpteOffset = 0x300000004;
  info.movieIdentifier = "movi";
  info.serverEntries = {"s1", "s2"};
  info.qualityEntries = {"q1"};
  info.drmData = "drm";
  info.metadata = "meta";
  info.segmentRunTables = {{.update = true, .qualityEntries = {"a", "bc"}, .segmentRuns = {{1, 10}, {2, 11}}}, {}};
  info.fragmentRunTables = {{.update = true,
                             .timescale = 48000,
                             .qualityEntries = {"x"},
                             .fragmentRuns = {{5, 0x500000006, 0x1000U},
                                              {7, 0x700000008, Discontinuity::kBothGaps},
                                              {0, 0, Discontinuity::kEndOfPresentation}}}};
  return info;
}

TEST(Bootstrap, IsWrittenAndReadByteForByte) {
  const struct {
    const char* image;
    BootstrapInfo info;
  } rows[] = {{kFirstFragmentImage, firstFragment()}, {kFullImage, everyField()}};
  for (const auto& row : rows) {
    const std::string image = hex(fromHex(row.image));
    EXPECT_EQ(hex(written(row.info)), image);
    EXPECT_EQ(hex(written(row.info, true)), image.substr(27)) << "without the first twelve bytes";
    EXPECT_EQ(read(fromHex(row.image)), row.info) << row.image;
  }
}

/// The image of the first fragment with some bytes of it replaced.
std::vector<std::byte> patched(std::size_t offset, std::string_view bytes) {
  auto image = fromHex(kFirstFragmentImage);
  const auto patch = fromHex(bytes);
  std::copy(patch.begin(), patch.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
  return image;
}

TEST(Bootstrap, RefusesOtherBoxesAndVersions) {
  const struct {
    const char* what;
    std::size_t offset;
    const char* bytes;
  } rows[] = {{"another type", 4, "61627375"},
              {"a uuid box", 4, "75756964"},
              {"version 1", 8, "01"},
              {"a table that is no asrt", 47, "61667274"},
              {"a table that is no afrt", 73, "61737274"}};
  for (const auto& row : rows) {
    try {
      read(patched(row.offset, row.bytes));
      ADD_FAILURE() << row.what;
    } catch (const InvalidBootstrapFormat& failure) {
      EXPECT_EQ(failure.message(), "Could not parse bootstrap info") << row.what;
    }
  }
}

TEST(Bootstrap, IgnoresWhatIsNotForReaders) {
  const struct {
    const char* what;
    std::size_t offset;
    const char* bytes;
  } rows[] = {{"flags", 9, "ffffff"},         {"reserved bits", 16, "2f"},  {"too small a size", 0, "00000002"},
              {"a size of 0", 0, "00000000"}, {"asrt version", 51, "01"},   {"other asrt flags", 52, "fffffe"},
              {"afrt version", 77, "02"},     {"asrt size", 43, "7fffffff"}};
  for (const auto& row : rows) EXPECT_EQ(read(patched(row.offset, row.bytes)), firstFragment()) << row.what;
}

TEST(Bootstrap, MayHaveALongSizeAndBytesBehindIt) {
  std::istringstream in = streamOf(fromHex("00000001 61627374 0000000000000072"));
  in.str(in.str() + written(firstFragment()).substr(8) + "rest");
  EXPECT_EQ(read(in), firstFragment());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "rest");
}

TEST(Bootstrap, CutShortAnywhereIsAStreamFailure) {
  const std::string whole = written(everyField());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::istringstream in(whole.substr(0, size));
    EXPECT_THROW(read(in), std::ios_base::failure) << size;
    EXPECT_EQ(in.exceptions(), std::ios_base::goodbit) << size;
  }
}

TEST(Bootstrap, TakesNoMemoryOnTheWordOfACount) {
  for (const std::size_t countOffset : {56U, 86U}) {
    std::istringstream in = streamOf(patched(countOffset, "ffffffff"));
    BootstrapInfo info;
    EXPECT_THROW(readBootstrap(in, info), std::ios_base::failure);
    for (const auto& table : info.segmentRunTables) EXPECT_LT(table.segmentRuns.capacity(), 64U);
    for (const auto& table : info.fragmentRunTables) EXPECT_LT(table.fragmentRuns.capacity(), 64U);
  }
}

TEST(Bootstrap, WritersTellAFullDisk) {
  test::FullDisk disk;
  std::ostream out(&disk);
  EXPECT_THROW(writeBootstrap(out, firstFragment(), false), std::ios_base::failure);
  EXPECT_EQ(out.exceptions(), std::ios_base::goodbit);
}

TEST(Bootstrap, TextsEndAtTheirFirstZeroByte) {
  BootstrapInfo info = everyField();
  info.drmData += std::string("\0more", 5);
  EXPECT_EQ(written(info), written(everyField()));
}

TEST(Bootstrap, WritersRefuseAListThatACountCannotTell) {
  BootstrapInfo info;
  info.serverEntries.resize(255);
  EXPECT_EQ(written(info).size(), 44U + 255U);
  info.serverEntries.resize(256);
  std::ostringstream out;
  EXPECT_THROW(writeBootstrap(out, info, false), std::out_of_range);
  EXPECT_EQ(out.str(), "");
}

}  // namespace
