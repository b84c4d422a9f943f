#include <gtest/gtest.h>

#include <random>
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

BootstrapInfo read(std::string_view hexImage) {
  std::istringstream in = streamOf(fromHex(hexImage));
  BootstrapInfo info;
  readBootstrap(in, info);
  return info;
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

TEST(Bootstrap, IsWrittenByteForByte) {
  EXPECT_EQ(fromHex(kFirstFragmentImage).size(), 106U);
  EXPECT_EQ(hex(written(firstFragment())), hex(fromHex(kFirstFragmentImage)));
  EXPECT_EQ(hex(written(everyField())), hex(fromHex(kFullImage)));
}

TEST(Bootstrap, IsReadFromItsImage) {
  EXPECT_EQ(read(kFirstFragmentImage), firstFragment());
  EXPECT_EQ(read(kFullImage), everyField());
}

TEST(Bootstrap, BodyLacksTheFirstTwelveBytes) {
  EXPECT_EQ(written(everyField(), true), written(everyField()).substr(12));
  qvs::util::ByteWriter out;
  out.u8(0xFF);
  appendBootstrap(out, firstFragment(), false);
  EXPECT_EQ(hex(out.bytes().subspan(1)), hex(written(firstFragment())));
}

TEST(Bootstrap, TellsMarkersFromRuns) {
  const struct {
    FragmentRunEntry entry;
    bool discontinuity, fragmentGap, timestampGap, end;
  } rows[] = {
      {{1, 0, 4000U}, false, false, false, false},
      {{}, true, false, false, true},
      {{1, 0, Discontinuity::kFragmentGap}, true, true, false, false},
      {{1, 0, Discontinuity::kTimestampGap}, true, false, true, false},
      {{1, 0, Discontinuity::kBothGaps}, true, true, true, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.entry.isDiscontinuity(), row.discontinuity) << row.entry.discontinuity;
    EXPECT_EQ(row.entry.isFragmentGap(), row.fragmentGap) << row.entry.discontinuity;
    EXPECT_EQ(row.entry.isTimestampGap(), row.timestampGap) << row.entry.discontinuity;
    EXPECT_EQ(row.entry.isEndOfPresentation(), row.end) << row.entry.discontinuity;
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
    std::istringstream in = streamOf(patched(row.offset, row.bytes));
    BootstrapInfo info;
    try {
      readBootstrap(in, info);
      ADD_FAILURE() << row.what;
    } catch (const InvalidBootstrapFormat& failure) {
      EXPECT_EQ(failure.message(), "Could not parse bootstrap info") << row.what;
    }
    EXPECT_EQ(in.exceptions(), std::ios_base::goodbit) << row.what;
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
  for (const auto& row : rows) {
    std::istringstream in = streamOf(patched(row.offset, row.bytes));
    BootstrapInfo info;
    readBootstrap(in, info);
    EXPECT_EQ(info, firstFragment()) << row.what;
  }
}

TEST(Bootstrap, MayHaveALongSizeAndBytesBehindIt) {
  std::istringstream in = streamOf(fromHex("00000001 61627374 0000000000000072"));
  in.str(in.str() + written(firstFragment()).substr(8) + "rest");
  BootstrapInfo info;
  readBootstrap(in, info);
  EXPECT_EQ(info, firstFragment());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "rest");
}

TEST(Bootstrap, CutShortAnywhereIsAStreamFailure) {
  const std::string whole = written(everyField());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::istringstream in(whole.substr(0, size));
    BootstrapInfo info;
    EXPECT_THROW(readBootstrap(in, info), std::ios_base::failure) << size;
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
  test::FullDisk disk(100);
  std::ostream out(&disk);
  EXPECT_THROW(writeBootstrap(out, firstFragment(), false), std::ios_base::failure);
  EXPECT_EQ(out.exceptions(), std::ios_base::goodbit);
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

class RandomBootstrap {
 public:
  explicit RandomBootstrap(unsigned seed) : random_(seed) {}

  BootstrapInfo info() {
    BootstrapInfo info;
    info.bootstrapVersion = u32();
    info.profile = below(4);
    info.live = below(2) == 1;
    info.update = below(2) == 1;
    info.timescale = u32();
    info.currentMediaTime = u64();
    info.smpteOffset = u64();
    info.movieIdentifier = text();
    info.serverEntries = texts();
    info.qualityEntries = texts();
    info.drmData = text();
    info.metadata = text();
    for (unsigned left = below(4); left > 0; --left) info.segmentRunTables.push_back(segmentRuns());
    for (unsigned left = below(4); left > 0; --left) info.fragmentRunTables.push_back(fragmentRuns());
    return info;
  }

 private:
  std::uint32_t u32() { return static_cast<std::uint32_t>(random_()); }
  std::uint64_t u64() { return std::uint64_t{u32()} * u32(); }
  unsigned below(unsigned bound) { return u32() % bound; }

  std::string text() {
    std::string text(below(20), ' ');
    for (char& c : text) c = static_cast<char>(1 + below(255));
    return text;
  }
  std::vector<std::string> texts() {
    std::vector<std::string> texts(below(3));
    for (std::string& entry : texts) entry = text();
    return texts;
  }
  SegmentRunTable segmentRuns() {
    SegmentRunTable table{.update = below(2) == 1, .qualityEntries = texts(), .segmentRuns = {}};
    for (unsigned left = below(5); left > 0; --left) table.segmentRuns.push_back({u32(), u32()});
    return table;
  }
  FragmentRunTable fragmentRuns() {
    FragmentRunTable table{.update = below(2) == 1, .timescale = u32(), .qualityEntries = texts(), .fragmentRuns = {}};
    for (unsigned left = below(9); left > 0; --left) {
      FragmentRunEntry entry(u32(), u64(), below(2) == 0 ? 0 : u32());
      if (entry.isDiscontinuity()) entry.discontinuity = below(256);
      table.fragmentRuns.push_back(entry);
    }
    return table;
  }

  std::mt19937 random_;
};

TEST(Bootstrap, ComesBackAsItWasWritten) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    const BootstrapInfo info = RandomBootstrap(seed).info();
    std::istringstream in(written(info));
    BootstrapInfo back;
    readBootstrap(in, back);
    EXPECT_EQ(back, info) << seed;
    EXPECT_EQ(in.peek(), std::char_traits<char>::eof()) << seed;
  }
}

}  // namespace
