// Reading segments: what is told of them, and what is said of damage and where.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <tuple>

#include "platform/container/SegmentReader.h"
#include "platform/container/fragmentCheck.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"

namespace krvo::container {
namespace {

using test::MemoryStream;
using test::SegmentMaker;

using Bytes = std::vector<std::byte>;

/// Video, audio and hints (1 to 3); one fragment of a sequence header, two frames and an audio message.
Bytes oneFragment() {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  maker.begin().sequenceHeader(0).video(0, true, 50, 40).audio(5, 20).video(40, false, 30);
  maker.start();
  maker.end();
  return stream.bytes;
}

/// The offset of the box with this type, the nth one from 0.
std::size_t find(const Bytes& bytes, std::string_view type, int nth = 0) {
  const auto wanted = qvs::util::asBytes(type);
  auto at = bytes.begin();
  for (;; ++at) {
    at = std::search(at, bytes.end(), wanted.begin(), wanted.end());
    if (at == bytes.end()) throw std::invalid_argument("no such box: " + std::string(type));
    if (nth-- == 0) return static_cast<std::size_t>(at - bytes.begin()) - 4;
  }
}

void patch(Bytes& bytes, std::size_t offset, const char* image) {
  std::ranges::copy(test::fromHex(image), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// Everything that a tool reads of a file.
std::vector<SegmentError> readAll(const Bytes& bytes) {
  MemorySource source(bytes);
  SegmentReader reader(source);
  std::vector<SegmentError> faults;
  for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
    if (box->type == "mfra"_4cc) reader.readRandomAccess(*box);
    if (box->type != "afra"_4cc) continue;
    const Fragment fragment = reader.readFragment(box->offset);
    faults = checkFragment(fragment, reader.readTags(fragment), reader.movie());
  }
  return faults;
}

TEST(SegmentReader, TellsWhatIsInTheFile) {
  const Bytes bytes = oneFragment();
  std::istringstream stream(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  StreamSource source(stream);
  SegmentReader reader(source);
  EXPECT_EQ(reader.fileType().majorBrand, "iso6"_4cc);
  EXPECT_EQ(reader.fileType().compatibleBrands, (std::vector<FourCC>{"iso6"_4cc, "isom"_4cc, "mp41"_4cc}));
  EXPECT_EQ(reader.movie().timescale, 1000U);
  EXPECT_EQ(reader.track(3)->handlerName, "Hints");
  EXPECT_EQ(reader.track(3)->hintedTracks, (std::vector<std::uint32_t>{1, 2}));
  EXPECT_EQ(reader.track(4), nullptr);

  std::string types;
  for (auto box = reader.boxAt(0); box; box = reader.boxAt(box->end())) types += qvs::util::toText(box->type) + ' ';
  EXPECT_EQ(types, "ftyp moov afra abst moof mdat mfra ");

  const Fragment fragment = reader.readFragment(reader.firstFragment());
  const std::uint64_t firstTag = fragment.boxes.mdat.payloadOffset();
  EXPECT_EQ(test::hex(fragment.abstBody), test::hex(std::string_view("bootstrap")));
  ASSERT_EQ(fragment.accessPoints.size(), 1U);
  EXPECT_EQ(fragment.boxes.position() + fragment.accessPoints[0].offset, firstTag);
  const auto tags = reader.readTags(fragment);
  ASSERT_EQ(tags.size(), 4U);
  EXPECT_EQ(tags[2].rawType, 8);
  EXPECT_EQ(tags[2].timestamp, 5U);
  EXPECT_EQ(tags[2].dataSize, 22U);
  EXPECT_EQ(tags[2].offset, firstTag + 23 + 70);
  const StoredSample& frame = fragment.tracks.at(0).samples.at(1);
  EXPECT_EQ(frame.offset, tags[3].offset + 16);
  EXPECT_EQ(std::tuple(frame.decodeTime, frame.duration, frame.size, frame.sync, frame.run),
            std::tuple(40U, 40U, 30U, false, 2U));
  EXPECT_TRUE(readAll(bytes).empty());
}

// Where damage is reported, from the start of the damaged box.
constexpr std::ptrdiff_t kParent = -8;
constexpr std::ptrdiff_t kElsewhere = 1 << 20;

/// Bytes of the nth box with a type replaced, and what is said of it.
struct Damage {
  const char* type;
  int nth;
  std::size_t offset;
  const char* image;
  std::ptrdiff_t reportedAt;
  const char* fault;
};

TEST(SegmentReader, NamesThePlaceOfDamage) {
  const Damage rows[] = {{"ftyp", 0, 4, "66726565", 0, "`ftyp` expected, `free` found"},
                         {"moov", 0, 4, "66726565", 0, "`moov` expected, `free` found"},
                         {"mvhd", 0, 4, "66726565", kParent, "`moov`: no `mvhd`"},
                         {"mvhd", 0, 20, "00000000", 0, "`mvhd`: a timescale of 0"},
                         {"mvhd", 0, 8, "02", 0, "`mvhd`: unknown version"},
                         {"trak", 1, 0, "00000007", kElsewhere, "`moov`: trak: box size 7 with"},
                         {"tkhd", 1, 20, "00000001", kElsewhere, "`moov`: a track id given twice"},
                         {"tkhd", 1, 20, "00000000", 0, "`tkhd`: a track id of 0"},
                         {"mdhd", 0, 20, "00000000", 0, "`mdhd`: a timescale of 0"},
                         {"hdlr", 0, 4, "66726565", kElsewhere, "`mdia`: no `hdlr`"},
                         {"stsd", 0, 12, "00000002", 0, "`stsd`: another number of entries than told"},
                         {"mp4a", 0, 16, "0002", 0, "`mp4a`: unknown version of an audio entry"},
                         {"trex", 0, 20, "00000001", 0, "`trex`: defaults other than 1, 0, 0, 0"},
                         {"afra", 0, 8, "01", 0, "`afra`: version 0 expected"},
                         {"afra", 0, 12, "e0", 0, "`afra`: long ids and offsets, and no more, expected"},
                         {"afra", 0, 17, "00000002", 0, "`afra`: input ends early: 32 bytes wanted"},
                         {"abst", 0, 4, "66726565", 0, "`abst` expected, `free` found"},
                         {"abst", 0, 8, "01", 0, "`abst`: version 0 expected"},
                         {"mfhd", 0, 4, "66726565", kParent, "`moof`: mfhd expected, free found"},
                         {"tfhd", 0, 9, "000038", 0, "`tfhd`: no other base than the `moof` expected"},
                         {"tfhd", 0, 12, "00000009", 0, "`tfhd`: a track that `moov` does not have"},
                         {"tfhd", 1, 12, "00000001", 0, "`tfhd`: a track that comes twice"},
                         {"tfdt", 0, 8, "02", 0, "`tfdt`: unknown version"},
                         {"trun", 0, 8, "02", 0, "`trun`: unknown version"},
                         {"trun", 0, 12, "ffffffff", 0, "`trun`: input ends early: 17179869180 bytes wanted"},
                         {"trun", 0, 16, "00000000", 0, "`trun`: a sample outside the `mdat`"},
                         {"trun", 0, 16, "7fffffff", 0, "`trun`: a sample outside the `mdat`"},
                         {"trun", 0, 16, "80000000", 0, "`trun`: a sample outside the `mdat`"},
                         {"mdat", 0, 0, "00001000", 0, "`mdat` of 4096 bytes, with"},
                         {"mdat", 0, 9, "ffffff", 8, "a tag of 16777215 bytes of data, with"},
                         {"mdat", 0, 9, "000009", 8 + 9 + 11, "back pointer 20 expected, "},
                         {"mdat", 0, 8 + 19, "01", 8 + 19, "back pointer 19 expected, 16777235 found"},
                         {"tfra", 0, 8, "00", 0, "`tfra`: version 1 expected"},
                         {"tfra", 0, 19, "00", 0, "`tfra`: numbers of four bytes expected"},
                         {"mfro", 0, 15, "00", 0, "`mfro`: the size of the `mfra` expected"}};
  const Bytes whole = oneFragment();
  for (const auto& row : rows) {
    Bytes bytes = whole;
    const std::size_t box = find(bytes, row.type, row.nth);
    patch(bytes, box + row.offset, row.image);
    try {
      readAll(bytes);
      ADD_FAILURE() << row.fault << ": not found";
    } catch (const SegmentError& error) {
      EXPECT_EQ(error.fault().substr(0, std::string_view(row.fault).size()), row.fault);
      if (row.reportedAt == kElsewhere) continue;
      EXPECT_EQ(static_cast<std::ptrdiff_t>(error.offset()), static_cast<std::ptrdiff_t>(box) + row.reportedAt)
          << row.fault;
    }
  }
}

/// A count that needs no bytes in the `moof` is held against those in the `mdat`.
TEST(SegmentReader, TakesNoMemoryOnTheWordOfACount) {
  Bytes bytes = oneFragment();
  // A run of the audio track, whose defaults tell all of its samples.
  const std::size_t trun = find(bytes, "trun", 2);
  patch(bytes, trun + 8, "00000001 ffffffff");
  EXPECT_THROW(readAll(bytes), SegmentError);
}

TEST(SegmentReader, RefusesAFileCutAnywhereInABox) {
  const Bytes whole = oneFragment();
  MemorySource source(whole);
  SegmentReader reader(source);
  std::vector<std::uint64_t> ends;
  for (auto box = reader.boxAt(0); box; box = reader.boxAt(box->end())) ends.push_back(box->end());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const bool atEnd = std::find(ends.begin() + 1, ends.end(), length) != ends.end();
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    if (atEnd && length == ends[1]) {
      EXPECT_NO_THROW(readAll(cut)) << "a header alone";
    } else if (length != ends.back() && !(atEnd && length == ends[5])) {
      EXPECT_THROW(readAll(cut), SegmentError) << length;
    }
  }
}

TEST(FragmentCheck, FindsSamplesThatAreNotTheTags) {
  const struct {
    const char* what;
    std::function<void(Fragment&, std::vector<StoredTag>&)> change;
    const char* fault;
  } rows[] = {
      {"a tag too few", [](auto& fragment, auto&) { fragment.tracks[2].samples.pop_back(); },
       "4 samples of track 3 expected, one for each tag, 3 found"},
      {"a tag elsewhere", [](auto& fragment, auto&) { fragment.tracks[2].samples[1].size += 1; },
       "a sample of track 3 expected that is the tag at "},
      {"no hints", [](auto& fragment, auto&) { fragment.tracks.pop_back(); }, "no samples of the hint track"},
      {"into the header", [](auto& fragment, auto&) { fragment.tracks[0].samples[0].offset -= 6; },
       "a sample of track 1 expected that lies in the data of a tag"},
      {"into the back pointer", [](auto& fragment, auto&) { fragment.tracks[1].samples[0].size += 1; },
       "a sample of track 2 expected that lies in the data of a tag"},
      {"backward",
       [](auto& fragment, auto&) { std::swap(fragment.tracks[0].samples[0], fragment.tracks[0].samples[1]); },
       "a sample of track 1 expected in a later tag than the one before"},
      {"the index", [](auto& fragment, auto&) { fragment.accessPoints[0].offset += 1; }, "`afra`: an entry leads to "}};
  const Bytes bytes = oneFragment();
  MemorySource source(bytes);
  SegmentReader reader(source);
  for (const auto& row : rows) {
    Fragment fragment = reader.readFragment(reader.firstFragment());
    auto tags = reader.readTags(fragment);
    row.change(fragment, tags);
    const auto faults = checkFragment(fragment, tags, reader.movie());
    ASSERT_EQ(faults.size(), 1U) << row.what;
    EXPECT_EQ(faults[0].fault().substr(0, std::string_view(row.fault).size()), row.fault);
  }
}

TEST(FragmentCheck, FindsWhatGoesBackward) {
  const Bytes bytes = oneFragment();
  MemorySource source(bytes);
  SegmentReader reader(source);
  const Fragment before = reader.readFragment(reader.firstFragment());
  Fragment after = before;
  after.sequenceNumber = 2;
  after.tracks[0].decodeTime = 39;
  after.tracks[1].decodeTime = 5;
  after.tracks[2].decodeTime = 0;
  auto faults = checkSequence(before, after, reader.movie());
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_EQ(faults[0].fault(), "a time from 40 on expected, where track 1 was, 39 found");
  after.tracks[0].decodeTime = 40;
  after.sequenceNumber = 3;
  faults = checkSequence(before, after, reader.movie());
  ASSERT_EQ(faults.size(), 1U);
  EXPECT_EQ(faults[0].fault(), "sequence number 2 expected, 3 found");
}

}  // namespace
}  // namespace krvo::container
