// What an append learns from the last fragment that is stored.

#include <gtest/gtest.h>

#include "fragmentation/BootstrapBuilder.h"
#include "modules/streams/k2r/StoredFragment.h"
#include "modules/streams/k2r/bootstrapOrder.h"
#include "tests/modules/OpenRecorder.h"
#include "util/bytes.h"

namespace {

using namespace test;
using namespace qvs::k2r;
using ruvo::k2r::BootstrapBuilder;
using ruvo::k2r::BootstrapInfo;

TEST(StoredFragments, TellABaseTimeWhereTheirMdatHasATag) {
  OpenRecorder recorder(video().from(6000).until(12001));
  const std::string segment = recorder.content("Seg1.k2r");
  const std::size_t position = segment.rfind("afra") - 4, mdat = segment.rfind("mdat") - 4;
  const std::size_t whole = segment.size() - mdat;
  // The size of the `mdat`, and how many of its bytes are in the file.
  const std::tuple<std::size_t, std::size_t, const char*> rows[] = {
      {whole, whole, "base 6000"},       {8 + 15, whole, "base 6000"}, {8 + 14, whole, "no base"}, {8, 8, "no base"},
      {whole, whole - 1, "no fragment"}, {7, whole, "no fragment"},    {0, 0, "no fragment"}};
  for (const auto& [size, kept, expected] : rows) {
    qvs::util::ByteWriter header;
    header.u32(static_cast<std::uint32_t>(size));
    writeWholeFile(recorder.file("Seg1.k2r"),
                   segment.substr(0, mdat) + (textOf(header.bytes()) + segment.substr(mdat + 4)).substr(0, kept));
    DiskFileContext files;
    const auto stored = readStoredFragment(files, modulePath(recorder.file("Seg1.k2r")), position);
    const std::string told = !stored             ? "no fragment"
                             : !stored->baseTime ? "no base"
                                                 : "base " + std::to_string(*stored->baseTime);
    EXPECT_EQ(told, expected) << size << " bytes, of which there are " << kept;
  }
}

TEST(Bootstraps, AreContinuedByThoseThatGrewOutOfThem) {
  struct Pair {
    BootstrapInfo earlier, later;
    auto& runs() { return later.fragmentRunTables[0].fragmentRuns; }
    auto& counts() { return later.segmentRunTables[0].segmentRuns; }
  };
  const auto end = [](Pair& pair) { pair.earlier.fragmentRunTables[0].fragmentRuns.emplace_back(); };
  // The segment of the last fragment, and what else there is.
  const std::tuple<const char*, std::uint32_t, void (*)(Pair&), bool> rows[] = {
      {"a fragment more", 1, [](Pair&) {}, true},
      {"behind a stop", 1, end, true},
      {"ends before what was taken back", 1, [](Pair& pair) { pair.later.currentMediaTime = 1; }, true},
      {"none more", 1, [](Pair& pair) { pair.later = pair.earlier; }, false},
      {"one less", 1, [](Pair& pair) { std::swap(pair.later, pair.earlier); }, false},
      {"another run before it", 1, [](Pair& pair) { pair.runs()[0].firstTimestamp = 1; }, false},
      {"an older version", 1, [](Pair& pair) { pair.later.bootstrapVersion = 0; }, false},
      {"of runs that were lost", 1, [](Pair& pair) { pair.earlier.fragmentRunTables.clear(); }, true},
      {"without tables", 1, [](Pair& pair) { pair.later.segmentRunTables.clear(); }, false},
      {"in the next segment", 2, [](Pair&) {}, true},
      {"a new segment behind a stop", 2, end, false},
      {"more in the segment before", 2, [](Pair& pair) { pair.counts()[0].fragmentsPerSegment += 1; }, false},
      {"at a time before", 2, [](Pair& pair) { pair.later.currentMediaTime = 8000; }, false},
      {"a segment further", 2, [](Pair& pair) { pair.counts()[1].firstSegment = 3; }, false}};
  for (const auto& [what, segment, change, expected] : rows) {
    BootstrapBuilder builder(100, 1000);
    builder.addFragment(1, 1, 0, 4000);
    builder.addFragment(1, 2, 4000, 4000);
    builder.info().currentMediaTime = 8000;
    Pair pair{.earlier = builder.info(), .later = {}};
    builder.addFragment(segment, 3, 8000, 4000);
    builder.info().currentMediaTime = 12000;
    pair.later = builder.info();
    change(pair);
    EXPECT_EQ(isContinuedBy(pair.earlier, pair.later, segment), expected) << what;
  }
}

}  // namespace
