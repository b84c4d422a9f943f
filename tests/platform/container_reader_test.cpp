// Reading segments: what is said of damage, and where.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/platform/container_reading.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using test::MemoryStream;
using test::ReadSegment;
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
std::size_t find(const Bytes& bytes, std::string_view type, int nth) {
  const auto wanted = qvs::util::asBytes(type);
  auto at = bytes.begin();
  for (;; ++at) {
    at = std::search(at, bytes.end(), wanted.begin(), wanted.end());
    if (at == bytes.end()) throw std::invalid_argument("no such box: " + std::string(type));
    if (nth-- == 0) return static_cast<std::size_t>(at - bytes.begin()) - 4;
  }
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
  std::string_view fault;
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
                         {"trun", 2, 8, "00000001 ffffffff", 0, "`trun`: more samples than there are tags"},
                         {"trun", 0, 16, "00000000", 0, "`trun`: a sample outside the `mdat`"},
                         {"trun", 0, 16, "7fffffff", 0, "`trun`: a sample outside the `mdat`"},
                         {"trun", 0, 16, "80000000", 0, "`trun`: a sample outside the `mdat`"},
                         {"mdat", 0, 0, "00001000", 0, "`mdat` of 4096 bytes, with"},
                         {"mdat", 0, 9, "ffffff", 8, "a tag of 16777215 bytes of data, with"},
                         {"mdat", 0, 9, "000009", 8 + 9 + 11, "back pointer 20 expected, "},
                         {"mdat", 0, 8 + 19, "01", 8 + 19, "back pointer 19 expected, 16777235 found"},
                         {"tfra", 0, 8, "00", 0, "`tfra`: version 1 expected"},
                         {"tfra", 0, 19, "00", 0, "`tfra`: numbers of four bytes expected"},
                         {"mfro", 0, 4, "66726565", kElsewhere, "`mfra` without `mfro` at its end"},
                         {"mfro", 0, 15, "00", 0, "`mfro`: the size of the `mfra` expected"}};
  const Bytes whole = oneFragment();
  for (const auto& row : rows) {
    Bytes bytes = whole;
    const std::size_t box = find(bytes, row.type, row.nth);
    std::ranges::copy(test::fromHex(row.image), bytes.begin() + static_cast<std::ptrdiff_t>(box + row.offset));
    try {
      ReadSegment{bytes};
      ADD_FAILURE() << row.fault << ": not found";
    } catch (const SegmentError& error) {
      EXPECT_EQ(error.fault().substr(0, row.fault.size()), row.fault);
      if (row.reportedAt == kElsewhere) continue;
      EXPECT_EQ(static_cast<std::ptrdiff_t>(error.offset()), static_cast<std::ptrdiff_t>(box) + row.reportedAt)
          << row.fault;
    }
  }
}

}  // namespace
}  // namespace krvo::container
