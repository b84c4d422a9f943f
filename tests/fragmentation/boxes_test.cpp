// The boxes of the small files, byte for byte, what is refused of them, and how the bootstrap grows.

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapBuilder.h"
#include "fragmentation/BootstrapReader.h"
#include "fragmentation/BootstrapWriter.h"
#include "tests/support/describe.h"
#include "tests/support/testing.h"

namespace {

using namespace ruvo::k2r;
using namespace test;

/// A stream of these bytes.
std::istringstream streamOf(std::span<const std::byte> bytes) {
  return std::istringstream(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::string written(const AfraIndex& index) {
  std::ostringstream out;
  writeAfra(out, index);
  return out.str();
}

std::string written(const BootstrapInfo& info, bool bodyOnly = false) {
  std::ostringstream out;
  const std::uint64_t count = writeBootstrap(out, info, bodyOnly);
  EXPECT_EQ(count, out.str().size());
  return out.str();
}

AfraIndex readIndex(std::istream&& in) {
  AfraIndex index;
  readAfra(in, index);
  return index;
}

BootstrapInfo read(std::istream&& in) {
  BootstrapInfo info;
  readBootstrap(in, info);
  return info;
}

const struct Sample {
  const char* what;
  AfraIndex index;
  const char* image;
} kSamples[] = {{"empty", {}, "00000015 61667261 00000000 c0 000003e8 00000000"},
                {"one fragment",
                 {true, true, 1000, {}, {{4000, 3, 2, 0x1122334455667788, 0}}},
                 "00000039 61667261 00000000 e0 000003e8 00000000 00000001"
                 "0000000000000fa0 00000003 00000002 1122334455667788 0000000000000000"},
                {"narrow",
                 {false, false, 1000, {{1, 0x0A0B0C0D}}, {{0x100000002, 0x0304, 0x0506, 0x0708090A, 11}}},
                 "00000039 61667261 00000000 20 000003e8 00000001 0000000000000001 0a0b0c0d 00000001"
                 "0000000100000002 0304 0506 0708090a 0000000b"},
                {"long ids only",
                 {true, false, 1000, {}, {{9, 1, 2, kHeldFragmentOffset, 0}}},
                 "00000031 61667261 00000000 a0 000003e8 00000000 00000001 0000000000000009 00000001 00000002 00000000 "
                 "00000000"}};

TEST(Afra, IsWrittenAndReadByteForByte) {
  for (const auto& sample : kSamples) {
    EXPECT_EQ(hex(written(sample.index)), hex(fromHex(sample.image))) << sample.what;
    EXPECT_EQ(afraHeadSize(sample.index) + sample.index.globalEntries.size() * afraEntrySize(sample.index),
              fromHex(sample.image).size());
    EXPECT_EQ(readIndex(streamOf(fromHex(sample.image))), sample.index) << sample.what;
  }
}

TEST(Afra, IgnoresFlagsReservedBitsSizeAndBytesBehindAndRefusesOtherBoxesAndVersions) {
  auto in = streamOf(fromHex("00000001 61667261 0000000000000003 00ffffff df 000003e8 00000000 ffffffff"));
  EXPECT_EQ(readIndex(std::move(in)), AfraIndex{});
  EXPECT_EQ(in.tellg(), 29);
  for (const char* image :
       {"00000015 61667262 00000000 c0 000003e8 00000000", "00000015 61667261 01000000 c0 000003e8 00000000"})
    EXPECT_THAT([&] { readIndex(streamOf(fromHex(image))); },
                testing::ThrowsMessage<InvalidAfraFormat>("Could not parse afra index"))
        << image;
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
  const std::vector<SegmentRunTable> segments = {{true, {"a", "bc"}, {{1, 10}, {2, 11}}}, {}};
  const std::vector<FragmentRunEntry> runs = {
      {5, 0x500000006, 0x1000U}, {7, 0x700000008, Discontinuity::kBothGaps}, {0, 0, Discontinuity::kEndOfPresentation}};
  const std::vector<FragmentRunTable> fragments = {{true, 48000, {"x"}, runs}};
  return {0x01020304,   2,      false, true,   90000,    0x100000002, 0x300000004, "movi",
          {"s1", "s2"}, {"q1"}, "drm", "meta", segments, fragments};
}

TEST(Bootstrap, IsWrittenAndReadByteForByte) {
  const std::pair<const char*, BootstrapInfo> rows[] = {{kFirstFragmentImage, firstFragment()},
                                                        {kFullImage, everyField()}};
  for (const auto& [image, info] : rows) {
    const std::string whole = hex(fromHex(image));
    EXPECT_EQ(hex(written(info)), whole);
    EXPECT_EQ(hex(written(info, true)), whole.substr(27)) << "without the first twelve bytes";
    EXPECT_EQ(read(streamOf(fromHex(image))), info) << image;
  }
}

/// The image of the first fragment with some bytes of it replaced.
std::istringstream patched(std::size_t offset, std::string_view bytes) {
  auto image = fromHex(kFirstFragmentImage);
  std::ranges::copy(fromHex(bytes), image.begin() + static_cast<std::ptrdiff_t>(offset));
  return streamOf(image);
}

TEST(Bootstrap, RefusesOtherBoxesAndVersions) {
  const std::tuple<const char*, std::size_t, const char*> rows[] = {{"another type", 4, "61627375"},
                                                                    {"version 1", 8, "01"},
                                                                    {"a table that is no asrt", 47, "61667274"},
                                                                    {"a table that is no afrt", 73, "61737274"}};
  for (const auto& [what, offset, bytes] : rows) {
    auto in = patched(offset, bytes);
    EXPECT_THAT([&] { read(std::move(in)); },
                testing::ThrowsMessage<InvalidBootstrapFormat>("Could not parse bootstrap info"))
        << what;
  }
}

TEST(Bootstrap, IgnoresWhatIsNotForReaders) {
  const std::tuple<const char*, std::size_t, const char*> rows[] = {
      {"flags", 9, "ffffff"},         {"reserved bits", 16, "2f"},  {"too small a size", 0, "00000002"},
      {"a size of 0", 0, "00000000"}, {"asrt version", 51, "01"},   {"other asrt flags", 52, "fffffe"},
      {"afrt version", 77, "02"},     {"asrt size", 43, "7fffffff"}};
  for (const auto& [what, offset, bytes] : rows) EXPECT_EQ(read(patched(offset, bytes)), firstFragment()) << what;
}

TEST(Bootstrap, MayHaveALongSizeAndBytesBehindIt) {
  std::istringstream in = streamOf(fromHex("00000001 61627374 0000000000000072"));
  in.str(in.str() + written(firstFragment()).substr(8) + "rest");
  EXPECT_EQ(read(std::move(in)), firstFragment());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "rest");
}

TEST(Bootstrap, TakesNoMemoryOnTheWordOfACount) {
  for (const std::size_t countOffset : {56U, 86U}) {
    auto in = patched(countOffset, "ffffffff");
    BootstrapInfo info;
    EXPECT_THROW(readBootstrap(in, info), std::ios_base::failure);
    for (const auto& table : info.segmentRunTables) EXPECT_LT(table.segmentRuns.capacity(), 64U);
    for (const auto& table : info.fragmentRunTables) EXPECT_LT(table.fragmentRuns.capacity(), 64U);
  }
}

/// Calls a builder, a word a call: "f1/3@8000+4000" adds fragment 3 to segment 1, "e1/4@12000" an empty fragment and
/// "g1/5@16000" a timestamp gap.
void add(BootstrapBuilder& builder, const std::string& calls) {
  std::istringstream in(calls);
  char kind = 0, mark = 0;
  std::uint32_t segment = 0, fragment = 0, start = 0, duration = 0;
  while (in >> kind >> segment >> mark >> fragment >> mark >> start) {
    if (kind == 'e') builder.addEmptyFragment(segment, fragment, start);
    if (kind == 'g') builder.addTimestampGap(segment, fragment, start);
    if (kind == 'f' && in >> mark >> duration) builder.addFragment(segment, fragment, start, duration);
  }
}

TEST(BootstrapBuilder, ExtendsRunsByItsRules) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"fragments of one rounded duration are joined", "f1/1@0+4000 f1/2@4000+4033 f1/3@8033+3967 f1/4@12000+4010",
       "1x4 | 1@0+4000"},
      {"a start as late as may be", "f1/1@0+4000 f1/2@5000+4000", "1x2 | 1@0+4000"},
      {"a start as early as may be", "f1/1@0+4000 f1/2@3000+4000", "1x2 | 1@0+4000"},
      {"a start that has drifted ahead", "f1/1@0+4000 f1/2@5001+4000", "1x2 | 1@0+4000 2@5001+4000"},
      {"a start that has drifted back", "f1/1@0+4000 f1/2@2999+4000", "1x2 | 1@0+4000 2@2999+4000"},
      {"nothing stands before the first fragment", "e1/3@8000 g1/4@16000 f1/5@16000+4000", "1x1 | 5@16000+4000"},
      {"a hole in the numbers has a marker", "f1/3@8000+4000 f1/5@16000+4000",
       "1x3 | 3@8000+4000 4@0!jump 5@16000+4000"},
      {"a hole before a segment is counted in it", "f1/1@0+4000 f2/4@12000+4000",
       "1x1 2x3 | 1@0+4000 2@0!jump 4@12000+4000"},
      {"a hole before an empty fragment has its own", "f1/1@0+4000 e1/4@12000",
       "1x4 | 1@0+4000 2@0!jump 4@12000!empty"},
      {"empty fragments side by side have one marker", "f1/1@0+4000 e1/2@4000 e1/3@8000 f1/4@12000+4000",
       "1x4 | 1@0+4000 2@4000!empty 4@12000+4000"},
      {"timestamp gaps side by side have one marker", "f1/1@0+4000 g1/1@9000 g1/4@20000", "1x4 | 1@0+4000 1@0!jump"},
      {"a timestamp gap below the last number takes numbers back", "f1/1@0+4000 f1/2@4000+4000 f1/3@8000+4000 g1/1@0",
       "1x1 | 1@0+4000 1@0!jump"},
      {"segments are counted one by one", "f1/1@0+4000 f1/2@4000+4000 f2/3@8000+4000 f2/4@12000+4000",
       "1x2 2x2 | 1@0+4000"},
      {"a gap below the last number takes back what was counted", "f1/1@0+4000 f1/2@4000+4000 g1/1@0 f1/2@4000+4000",
       "1x2 | 1@0+4000 1@0!jump 2@4000+4000"},
      {"a gap may begin a segment", "f1/1@0+4000 f1/2@4000+4000 g2/3@0", "1x2 2x2 | 1@0+4000 3@0!jump"}};
  for (const auto& [what, calls, expected] : rows) {
    BootstrapBuilder builder(100.0, 1000);
    add(builder, calls);
    EXPECT_EQ(test::describe(builder.info()), expected) << what;
    EXPECT_EQ(builder.info().bootstrapVersion, builder.fragmentRuns().size()) << what;
  }
}

TEST(BootstrapBuilder, RoundsDurations) {
  constexpr std::uint32_t kMost = 0xFFFFFFFF;
  // Precisions, and durations each with what becomes of it.
  const std::pair<double, std::vector<std::pair<std::uint32_t, std::uint32_t>>> rows[] = {
      {100, {{4050, 4100}, {4049, 4000}, {49, 100}, {0, 100}, {50, 100}}},
      {1, {{4321, 4321}, {0, 1}, {kMost, kMost}}},
      {1 * (1.0 / 29.97) * 1000.0, {{4004, 4004}, {4020, 4004}, {4021, 4037}, {5, 33}}},
      {0.5, {{0, 1}, {7, 7}}},
      {5000, {{4000, 5000}, {2499, 5000}}},
      {1e-300, {{4000, 1}}},
      {1e300, {{4000, kMost}}},
      {1.0 / 0.0, {{4000, kMost}}}};
  for (const auto& [precision, durations] : rows)
    for (const auto& [duration, rounded] : durations) {
      BootstrapBuilder builder(precision, 0);
      builder.addFragment(1, 1, 0, duration);
      EXPECT_EQ(builder.fragmentRuns().at(0).duration, rounded) << precision << ' ' << duration;
    }
}

/// Three fragments and the end, as a stopped recording leaves them.
BootstrapInfo stopped() {
  BootstrapBuilder builder(100.0, 1000);
  add(builder, "f1/1@0+4000 f1/2@4000+6000 f2/3@10000+4000");
  builder.endPresentation();
  return builder.info();
}

TEST(BootstrapBuilder, ResumesWhereTheIndexEnds) {
  BootstrapInfo endedTwice = stopped();
  endedTwice.fragmentRunTables.front().fragmentRuns.emplace_back(0U, 0U, Discontinuity::kEndOfPresentation);
  BootstrapInfo bothGaps = stopped();
  bothGaps.fragmentRunTables.front().fragmentRuns.back() = {3, 10000, Discontinuity::kBothGaps};
  BootstrapInfo noSegments;
  noSegments.fragmentRunTables.resize(1);
  noSegments.fragmentRunTables.front().fragmentRuns = {{1, 0, 4000U}, {5, 16000, 4000U}};
  const std::tuple<const char*, BootstrapInfo, std::uint32_t, const char*, const char*> rows[] = {
      {"without a segment", stopped(), 2, "", "1x2 | 1@0+4000 2@4000+6000"},
      {"an append always begins a run", stopped(), 3, "f2/4@14000+4000 f2/5@18000+4000",
       "1x2 2x3 | 1@0+4000 2@4000+6000 3@10000+4000 4@14000+4000"},
      {"a segment that was taken back begins anew", stopped(), 2, "f2/3@10000+4000",
       "1x2 2x1 | 1@0+4000 2@4000+6000 3@10000+4000"},
      {"only the last end marker is taken back", endedTwice, 3, "", "1x2 2x1 | 1@0+4000 2@4000+6000 3@10000+4000 end"},
      {"a marker of both gaps stands for either", bothGaps, 3, "e2/4@14000 g2/4@18000",
       "1x2 2x2 | 1@0+4000 2@4000+6000 3@10000+4000 3@10000!both"},
      {"a foreign file without tables", {}, 7, "e1/8@0 f1/9@32000+4000", "1x1 | 9@32000+4000"},
      {"a foreign file without segments", noSegments, 1, "e1/2@4000 f1/3@8000+4000",
       "4294967295x1 1x3 | 1@0+4000 2@4000!empty 1@0!jump 3@8000+4000"}};
  for (const auto& [what, info, lastFragment, calls, expected] : rows) {
    BootstrapBuilder builder(100.0, 1000, info, lastFragment);
    builder.resume();
    add(builder, calls);
    EXPECT_EQ(test::describe(builder.info()), expected) << what;
  }
}

}  // namespace
