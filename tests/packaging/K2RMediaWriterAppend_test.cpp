#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "packaging/K2RMediaWriter.h"
#include "tests/packaging/recordingFixture.h"
#include "util/QVSException.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

using K2RMediaWriterAppend = test::RecordingFixture;

TEST_F(K2RMediaWriterAppend, ReadsTheTracksOfAnExistingSegment) {
  addAvcTrack();
  addAacTrack();
  addDataTrack();
  add(9, 0, "17 01 000000 aa");
  const std::uint64_t position = write(*newSegment());
  EXPECT_EQ(readBack(*continueSegment(position)), std::string("vide eng 1000 7 avc1 vide 640x360 72x72 1 24 15: ") +
                                                      test::kAvcC + "\nsoun eng 1000 7 mp4a soun 44100x2x2 51: " +
                                                      test::kEsds + "\nmeta eng 1000 7 amf0 meta 0\nhint eng 1000 0\n");
}

TEST_F(K2RMediaWriterAppend, ContinuesAnExistingSegmentWithItsOwnConfigurations) {
  addAvcTrack();
  addAacTrack();
  add(9, 0, "17 01 000000 aa");
  const std::uint64_t first = write(*newSegment());
  queue.clear();
  add(9, 4000, "17 01 000000 bb");
  K2RMediaWriterPolicy fresh(*this);
  std::uint64_t second = 0;
  {
    K2RMediaWriter writer(fresh, file, first, warnings);
    second = write(writer);
  }
  const auto seen = image();
  EXPECT_EQ(seen.positions, (std::vector{first, second}));
  EXPECT_EQ(seen.fragments,
            (std::vector<std::string>{"9@0* 8@0 9@0[vide 16+1!]", "9@4000* 8@4000 9@4000[vide 16+1!]"}));
}

TEST_F(K2RMediaWriterAppend, RefusesASegmentWithoutAHintTrack) {
  EXPECT_THROW(continueSegment(0), krvo::k2m::Exception) << "an empty file";
  addMp3Track();
  const std::uint64_t position = write(*newSegment());
  const std::string hintHandler = "hint";
  const auto bytes = asBytes(hintHandler);
  // The last one: the track reference of that name stands in front of the handler.
  const auto found = std::find_end(file.bytes.begin(), file.bytes.end(), bytes.begin(), bytes.end());
  ASSERT_NE(found, file.bytes.end());
  *found = std::byte{'H'};
  EXPECT_THAT([&] { continueSegment(position); },
              testing::ThrowsMessage<qvs::QVSException>("The segment to be continued has no hint track."));
  EXPECT_EQ(file.references, 0);
}

}  // namespace
