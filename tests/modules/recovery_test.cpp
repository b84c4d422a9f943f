// Where a recording on disk ends. The files are made here, without a recorder.

#include <gtest/gtest.h>

#include <algorithm>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapBuilder.h"
#include "fragmentation/BootstrapWriter.h"
#include "modules/streams/k2r/StoredRecording.h"
#include "modules/streams/k2r/bootstrapOrder.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/QVSException.h"
#include "util/bytes.h"

namespace {

using namespace test;
using namespace qvs::k2r;
using qvs::util::ByteWriter;
using ruvo::k2r::BootstrapBuilder;
using ruvo::k2r::BootstrapInfo;
using BaseTime = StoredRecording::BaseTime;

std::string box(const char* type, const std::string& payload) {
  ByteWriter header;
  header.u32(static_cast<std::uint32_t>(8 + payload.size()));
  return textOf(header.bytes()) + type + payload;
}

std::string imageOf(const BootstrapInfo& info) {
  ByteWriter image;
  appendBootstrap(image, info, false);
  return textOf(image.bytes());
}

/// Segment 1 has the fragments 1 to 3, segment 2 has 4 and 5. All begin with a tag of 6 s, the recording's start.
struct RecordingOnDisk {
  RecordingOnDisk() {
    for (std::uint32_t number = 1; number <= 5; ++number) addFragment(number <= 3 ? 1 : 2, number);
    writeBootstrap(5);
  }
  void addFragment(std::uint32_t segment, std::uint32_t number) {
    builder.addFragment(segment, number, number * 4000, 4000);
    builder.info().currentMediaTime = (number + 1) * 4000;
    bootstraps.push_back(builder.info());
    const std::string tag("\x09\0\0\4\0\x17\x70\0\0\0\0data\0\0\0\x0F", 19), noTime(8, '\0');
    std::string& content = segments[segment - 1];
    indexes[segment - 1].globalEntries.emplace_back(0, segment, number, content.size(), 0);
    content +=
        box("afra", "") + imageOf(builder.info()) + box("moof", box("traf", box("tfdt", noTime))) + box("mdat", tag);
  }
  std::vector<ruvo::k2r::AfraEntry>& entries(std::size_t segment) { return indexes[segment - 1].globalEntries; }
  auto& fragmentRuns(std::size_t fragment) { return bootstraps[fragment - 1].fragmentRunTables[0].fragmentRuns; }
  std::string path(const std::string& suffix) const { return directory.file("cam1" + suffix); }
  /// The bootstrap as it was after a fragment.
  void writeBootstrap(std::size_t fragment) { writeWholeFile(path(".bootstrap"), imageOf(bootstraps[fragment - 1])); }
  /// Changes the size of the last `mdat`, of 27 bytes.
  void setLastMdat(char size) { segments[1][segments[1].size() - 24] = size; }
  void dropTags(std::string& content) {
    for (std::size_t at = 0; (at = content.find("mdat", at)) != std::string::npos; ++at)
      content.replace(at - 4, 27, box("mdat", "") + box("free", std::string(11, '\0')));
  }

  /// "<last segment>x<its fragments, by the bootstrap> | <segment>: <last fragment>[, base <time>][, more runs]", or
  /// why there is no end.
  std::string end(BaseTime baseTime) {
    for (std::size_t i = 0; i < 2; ++i) {
      ByteWriter image;
      appendAfra(image, indexes[i]);
      const std::string name = "Seg" + std::to_string(i + 1);
      if (!std::filesystem::exists(path(name + ".k2i"))) writeWholeFile(path(name + ".k2i"), textOf(image.bytes()));
      writeWholeFile(path(name + ".k2r"), segments[i]);
    }
    try {
      StoredRecording recording(files, {modulePath(directory.path() / "cam1")});
      const auto found = recording.findEnd(baseTime);
      const auto last = std::ranges::find(found.index.globalEntries, found.position, &ruvo::k2r::AfraEntry::afraOffset);
      const auto& runs = found.bootstrap.segmentRunTables[0].segmentRuns;
      return std::to_string(runs.back().firstSegment) + "x" + std::to_string(runs.back().fragmentsPerSegment) + " | " +
             std::to_string(found.segment) + ": " + std::to_string(last->fragment) +
             (found.baseTime ? ", base " + std::to_string(*found.baseTime) : "") +
             (found.bootstrap.fragmentRunTables[0].fragmentRuns.back().firstFragment > last->fragment ? ", more runs"
                                                                                                      : "");
    } catch (const qvs::QVSException& failure) {
      return failure.message();
    }
  }

  TempDirectory directory;
  DiskFileContext files;
  BootstrapBuilder builder{100, 1000};
  std::vector<BootstrapInfo> bootstraps;
  ruvo::k2r::AfraIndex indexes[2];
  std::string segments[2] = {box("ftyp", ""), box("ftyp", "")};
};

TEST(StoredRecordings, EndWhereTheirFragmentsDo) {
  using Disk = RecordingOnDisk;
  const char *const first = "1x3 | 1: 3, base 6000", *const whole = "2x2 | 2: 5, base 6000";
  const std::tuple<const char*, void (*)(Disk&), const char*> rows[] = {
      {"whole", [](Disk&) {}, whole},
      {"killed before the bootstrap", [](Disk& disk) { disk.writeBootstrap(4); }, whole},
      {"older by a segment and more", [](Disk& disk) { disk.writeBootstrap(2); }, whole},
      {"the shortest tag", [](Disk& disk) { disk.writeBootstrap(4), disk.setLastMdat(23); }, whole},
      {"no tag", [](Disk& disk) { disk.writeBootstrap(4), disk.setLastMdat(22); }, "2x2 | 2: 5"},
      {"no `mdat`", [](Disk& disk) { disk.writeBootstrap(4), disk.setLastMdat(7); }, "2x1 | 2: 5"},
      {"a torn `mdat`", [](Disk& disk) { disk.writeBootstrap(4), disk.segments[1].pop_back(); }, "2x1 | 2: 5"},
      {"no index", [](Disk& disk) { disk.writeBootstrap(3), writeWholeFile(disk.path("Seg2.k2i"), "x"); }, first},
      {"nothing in the last number", [](Disk& disk) { disk.entries(2)[1].afraOffset = ruvo::k2r::kNoFragmentOffset; },
       "2x2 | 2: 4, base 6000"},
      {"begun behind a stop, by another recording",
       [](Disk& disk) { disk.fragmentRuns(3).emplace_back(), disk.writeBootstrap(3); }, first},
      {"an empty last segment, with a run of its own",
       [](Disk& disk) {
         disk.fragmentRuns(5).emplace_back(4U, 16000U, 9U), disk.writeBootstrap(5), disk.entries(2).clear();
       },
       first},
      {"no fragment in any index", [](Disk& disk) { disk.entries(1).clear(), disk.entries(2).clear(); },
       "The index of segment 1 names no fragment, but the bootstrap does; the recording is not continued."}};
  for (const auto& [what, change, expected] : rows) {
    Disk disk;
    change(disk);
    EXPECT_EQ(disk.end(BaseTime::kIfAtHand), expected) << what;
  }
}

TEST(StoredRecordings, SearchABaseTimeBackToAFragmentWithATag) {
  RecordingOnDisk disk;
  disk.dropTags(disk.segments[1]);
  EXPECT_EQ(disk.end(BaseTime::kIfAtHand), "2x2 | 2: 5");
  EXPECT_EQ(disk.end(BaseTime::kSearched), "2x2 | 2: 5, base 6000") << "of segment 1";
  disk.dropTags(disk.segments[0]);
  EXPECT_EQ(disk.end(BaseTime::kSearched), "2x2 | 2: 5");
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
      {"behind a stop", 1, end, true},
      {"ends before what was taken back", 1, [](Pair& pair) { pair.later.currentMediaTime = 1; }, true},
      {"one less", 1, [](Pair& pair) { std::swap(pair.later, pair.earlier); }, false},
      {"another run before it", 1, [](Pair& pair) { pair.runs()[0].firstTimestamp = 1; }, false},
      {"an older version", 1, [](Pair& pair) { pair.later.bootstrapVersion = 0; }, false},
      {"of runs that were lost", 1, [](Pair& pair) { pair.earlier.fragmentRunTables.clear(); }, true},
      {"without tables", 1, [](Pair& pair) { pair.later.segmentRunTables.clear(); }, false},
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
