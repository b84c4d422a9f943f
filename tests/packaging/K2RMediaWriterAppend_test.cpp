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
  const auto writer = continueSegment(position);
  const std::unique_ptr<ITrackIterator> tracks(writer->getTracks());
  std::string seen;
  std::shared_ptr<K2RTrack> track;
  while (tracks->hasNext()) {
    tracks->next(track);
    seen += toText(track->handlerType) + " " + track->language + " " + std::to_string(track->timescale) + " " +
            std::to_string(track->flags);
    for (const auto& descriptor : track->sampleDescriptors) {
      seen += " " + toText(descriptor->formatCode) + " " + test::hex(descriptor->codecHeader.bytes());
      EXPECT_EQ(descriptor->info->formatCode, descriptor->formatCode);
      EXPECT_EQ(descriptor->info->handlerCode, track->handlerType);
      EXPECT_EQ(descriptor->info->codecHeaderLength, descriptor->codecHeader.size());
      EXPECT_TRUE(descriptor->protection.empty());
    }
    seen += "\n";
  }
  EXPECT_EQ(seen, std::string("vide eng 1000 7 avc1 ") + test::kAvcC + "\nsoun eng 1000 7 mp4a " + test::kEsds +
                      "\nmeta eng 1000 7 amf0 \nhint eng 1000 0\n");
}

TEST_F(K2RMediaWriterAppend, ReadsTheSampleDescriptionsOfAnExistingSegment) {
  addVp6Track();
  addAacTrack();
  const std::uint64_t position = write(*newSegment());
  const auto writer = continueSegment(position);
  const std::unique_ptr<ITrackIterator> tracks(writer->getTracks());
  std::shared_ptr<K2RTrack> track;
  tracks->next(track);
  const auto& video = dynamic_cast<const VideoSampleDescInfo&>(*track->sampleDescriptors.at(0)->info);
  EXPECT_EQ(video.width, 640U);
  EXPECT_EQ(video.height, 360U);
  EXPECT_EQ(video.horizontalResolution, 72.0F);
  EXPECT_EQ(video.verticalResolution, 72.0F);
  EXPECT_EQ(video.frameCount, 1U);
  EXPECT_EQ(video.depth, 24U);
  tracks->next(track);
  const auto& audio = dynamic_cast<const AudioSampleDescInfo&>(*track->sampleDescriptors.at(0)->info);
  EXPECT_EQ(audio.sampleRate, 44100.0F);
  EXPECT_EQ(audio.channels, 2U);
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

TEST_F(K2RMediaWriterAppend, RefusesToContinueWhatIsNoSegment) {
  EXPECT_THROW(continueSegment(0), krvo::k2m::Exception) << "an empty file";
}

TEST_F(K2RMediaWriterAppend, RefusesASegmentWithoutAHintTrack) {
  addMp3Track();
  const std::uint64_t position = write(*newSegment());
  const std::string hintHandler = "hint";
  const auto bytes = asBytes(hintHandler);
  // The last one: the track reference of that name stands in front of the handler.
  const auto found = std::find_end(file.bytes.begin(), file.bytes.end(), bytes.begin(), bytes.end());
  ASSERT_NE(found, file.bytes.end());
  *found = std::byte{'H'};
  try {
    continueSegment(position);
    FAIL() << "continued";
  } catch (const qvs::QVSException& error) {
    EXPECT_EQ(error.message(), "The segment to be continued has no hint track.");
  }
  EXPECT_EQ(file.references, 0);
}

}  // namespace
