#include "packaging/K2RMediaWriter.h"

#include "tests/packaging/recordingFixture.h"
#include "util/QVSException.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

constexpr char kHint[] =
    "hint 'Korvo Systems Inc. Hint Handler' eng rtmp 1 1 500 00000010 616d6870 00000000 01010004 ->1 ->2";

using K2RMediaWriterTest = test::RecordingFixture;

TEST_F(K2RMediaWriterTest, DeclaresTheTracksOfANewSegment) {
  addSecondDescription(addAvcTrack(), 9, "14 00");
  addSecondDescription(addAacTrack(), 8, "2f");
  addDataTrack();
  newSegment();
  EXPECT_EQ(image().tracks, (std::vector{"vide 'MainConcept' eng avc1 " + std::string(test::kAvcC) + " VP6F ",
                                         "soun 'MainConcept' eng mp4a " + std::string(test::kEsds) + " .mp3 ",
                                         std::string("meta 'MainConcept' eng amf0 "), kHint + std::string(" ->3")}));
}

TEST_F(K2RMediaWriterTest, TakesTheFirstTrackOfEachKind) {
  addVp6Track();
  addAvcTrack();
  addMp3Track();
  addAacTrack();
  addDataTrack();
  properties.tracks.back()->handlerType = "hint"_4cc;
  newSegment();
  EXPECT_EQ(image().tracks,
            (std::vector<std::string>{"vide 'MainConcept' eng VP6F ", "soun 'MainConcept' eng .mp3 ", kHint}));
}

TEST_F(K2RMediaWriterTest, RefusesAnEmptyListOfTracks) {
  EXPECT_THAT([this] { newSegment(); },
              testing::ThrowsMessage<qvs::QVSException>("A segment needs at least one audio, video or data track."));
}

TEST_F(K2RMediaWriterTest, StoresEachTagByItsCodec) {
  addVp6Track();
  addMp3Track();
  addDataTrack();
  const std::tuple<const char*, std::uint8_t, const char*, const char*> rows[] = {
      {"H.263 key frame", 9, "12 aa", "9@0*[vide 12+1!]"},
      {"VP6 key frame", 9, "14 00 aabb", "9@0*[vide 13+2!]"},
      {"AVC sequence header", 9, "17 00 000000 aa", "9@0*"},
      {"AVC key frame", 9, "17 01 000000 aa", "9@0[vide 16+1!]"},
      {"AVC too short for its header", 9, "17 01 aa", "9@0[vide 11+3!]"},
      {"other video", 9, "13 aa", ""},
      {"MP3", 8, "2f aa", "8@0[soun 12+1]"},
      {"Nellymoser", 8, "6f aa", "8@0[soun 12+1]"},
      {"MP3 at 8 kHz", 8, "ef aa", "8@0[soun 11+2]"},
      {"AAC sequence header", 8, "af 00 1210", "8@0"},
      {"AAC frame", 8, "af 01 aa", "8@0[soun 13+1]"},
      {"other audio", 8, "ff aa", ""},
      {"AMF0 data", 18, "02 aa", "18@0[meta 11+2]"},
      {"AMF3 data", 15, "02 aa", "15@0[meta 11+2]"},
      {"protected video", 41, "14 00 aabb", "41@0*[vide 13+2!]"},
      {"protected AMF3 data", 47, "02", "47@0[meta 11+1]"},
      {"another type", 22, "17 01", ""},
      {"a reserved bit", 0x89, "14 00 aabb", ""}};
  for (const auto& [why, type, data, stored] : rows) {
    queue.clear();
    add(type, 0, data);
    EXPECT_EQ(writtenAlone(), stored) << why;
  }
}

TEST_F(K2RMediaWriterTest, RepeatsTheConfigurationsBeforeAKeyFrame) {
  addAvcTrack();
  addAacTrack();
  add(9, 0, "17 01 000000 aa", 7000);
  add(8, 20, "af 01 bb", 7000);
  add(9, 40, "27 01 000000 cc", 7000);
  add(9, 80, "17 01 000000 dd", 7000);
  EXPECT_EQ(writtenAlone(),
            "9@0/7000* 8@0/7000 9@0/7000[vide 16+1!] 8@20/7020[soun 13+1] 9@40/7040[vide 16+1] "
            "9@80/7080* 8@80/7080 9@80/7080[vide 16+1!]");
}

TEST_F(K2RMediaWriterTest, RepeatsTheFirstSegmentsConfigurationInTheSecond) {
  addAvcTrack();
  add(9, 0, "17 01 000000 aa");
  const std::string first = writtenAlone();
  EXPECT_EQ(first, "9@0* 9@0[vide 16+1!]");
  properties.tracks.clear();
  addVp6Track();
  EXPECT_EQ(writtenAlone(), first) << "whatever the second declares";
}

TEST_F(K2RMediaWriterTest, PacesTheConfigurationOfAudioAlone) {
  addAacTrack();
  for (const std::uint32_t time : {0U, 999U, 1000U, 1999U, 2000U, 2999U, 3000U, 3001U}) add(8, time, "af 01 aa");
  EXPECT_EQ(writtenAlone(),
            "8@0 8@0[soun 13+1] 8@999[soun 13+1] 8@1000[soun 13+1] 8@1999[soun 13+1] 8@2000 8@2000[soun 13+1] "
            "8@2999[soun 13+1] 8@3000 8@3000[soun 13+1] 8@3001[soun 13+1]");
}

TEST_F(K2RMediaWriterTest, IndexesThePacedMessageWhereThereIsNoConfigurationAndEachUntilItHasCaughtUpWithALateStart) {
  addMp3Track();
  const std::pair<std::vector<std::uint32_t>, const char*> rows[] = {
      {{0, 1500, 2000, 2500, 3200},
       "8@0*[soun 12+1] 8@1500[soun 12+1] 8@2000*[soun 12+1] 8@2500[soun 12+1] 8@3200*[soun 12+1]"},
      {{3000, 3010, 3020, 3030, 4000},
       "8@3000*[soun 12+1] 8@3010*[soun 12+1] 8@3020*[soun 12+1] 8@3030[soun 12+1] 8@4000*[soun 12+1]"}};
  for (const auto& [times, stored] : rows) {
    queue.clear();
    for (const std::uint32_t time : times) add(8, time, "2f aa");
    EXPECT_EQ(writtenAlone(), stored);
  }
}

TEST_F(K2RMediaWriterTest, RepeatsTheConfigurationThatAFailedWriteDidNotStore) {
  addMp3Track();
  add(8, 0, "2f aa");
  const auto writer = newSegment();
  file.failingWrite = file.writes.size();
  EXPECT_THROW(write(*writer), krvo::k2m::Exception);
  write(*writer);
  EXPECT_EQ(image().fragments.at(0), "8@0*[soun 12+1]");
}

TEST_F(K2RMediaWriterTest, StopsAtTheFirstTimestampAtTheLimit) {
  addMp3Track();
  const std::pair<std::uint32_t, const char*> rows[] = {
      {0, ""},
      {1001, "8@0/1000*[soun 12+1]"},
      {3001, "8@0/1000*[soun 12+1] 8@2000/3000*[soun 12+1] 8@2000/1500[soun 12+1]"},
      {0x80000000, "8@0/1000*[soun 12+1] 8@2000/3000*[soun 12+1] 8@2000/1500[soun 12+1] 8@2001/3001[soun 12+1]"}};
  add(8, 0, "2f aa", 1000);
  add(8, 2000, "2f aa", 1000);
  add(8, 2000, "2f aa", 0U - 500);  // its turn comes behind one that is not written
  add(8, 2001, "2f aa", 1000);
  add(8, 2002, "2f aa", 0x80000000 - 2002);
  for (const auto& [limit, stored] : rows) {
    write(*newSegment(), limit);
    EXPECT_EQ(image().fragments.at(0), stored) << limit;
  }
}

using K2RMediaWriterAppend = test::RecordingFixture;

TEST_F(K2RMediaWriterAppend, ReadsTheTracksOfAnExistingSegment) {
  addSecondDescription(addAvcTrack(), 9, "14 00");
  addAacTrack();
  addDataTrack();
  add(9, 0, "17 01 000000 aa");
  const std::uint64_t position = write(*newSegment());
  EXPECT_EQ(test::tracksOf(*continueSegment(position)),
            std::string("vide eng 1000 7 0 0x0 1 12 1 1000 15 avc1 vide 640x360 72x72 1 24 15: ") + test::kAvcC +
                " VP6F vide 640x360 72x72 1 24 0" +
                "\nsoun eng 1000 7 0 0x0 1 12 1 1000 51 mp4a soun 44100x2x2 51: " + test::kEsds +
                "\nmeta eng 1000 7 0 0x0 1 12 1 1000 0 amf0 meta 0\nhint eng 1000 0 0 0x0 0 32 1 1000 16\n");
}

TEST_F(K2RMediaWriterAppend, RefusesASegmentWithoutAHintTrack) {
  EXPECT_THROW(continueSegment(0), krvo::k2m::Exception) << "an empty file";
  addMp3Track();
  const std::uint64_t position = write(*newSegment());
  const std::string hintHandler = "hint";
  const auto bytes = asBytes(hintHandler);
  // The last one: the track reference of that name is in front of the handler.
  const auto found = std::find_end(file.bytes.begin(), file.bytes.end(), bytes.begin(), bytes.end());
  ASSERT_NE(found, file.bytes.end());
  *found = std::byte{'H'};
  EXPECT_THAT([&] { continueSegment(position); },
              testing::ThrowsMessage<qvs::QVSException>("The segment to be continued has no hint track."));
  EXPECT_EQ(file.references, 0);
}

}  // namespace
