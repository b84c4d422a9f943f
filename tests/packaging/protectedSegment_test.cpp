// Segments of a protected recording: descriptions, samples, roll-over and append.

#include <gtest/gtest.h>

#include "packaging/ProtectionBox.h"
#include "tests/packaging/protectedFixture.h"
#include "util/QVSException.h"

namespace {

using namespace test;
using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

using ProtectedSegment = ProtectedFixture;

constexpr char kH264[] = "48323634";

std::string flat(const std::string& image) {
  return hex(fromHex(image));
}

TEST_F(ProtectedSegment, DescribesEachTrackUnderAProtectedCode) {
  addAvcTrack();
  addAacTrack();
  addDataTrack();
  for (int segment = 0; segment < 2; ++segment) {
    newProtectedSegment();
    EXPECT_EQ(image().tracks.at(0), "vide 'MainConcept' eng encv " + flat(kAvcC + sinfImage(kH264)));
    EXPECT_EQ(image().tracks.at(1), "soun 'MainConcept' eng enca " + flat(kEsds + sinfImage("6d703461")));
    EXPECT_EQ(image().tracks.at(2), "meta 'MainConcept' eng encr " + sinfImage("616d6630"));
  }
}

TEST_F(ProtectedSegment, DescribesCodecsWithoutAConfiguration) {
  addVp6Track();
  addMp3Track();
  newProtectedSegment();
  EXPECT_EQ(image().tracks.at(0), "vide 'MainConcept' eng encv " + sinfImage("56503646"));
  EXPECT_EQ(image().tracks.at(1), "soun 'MainConcept' eng enca " + sinfImage("2e6d7033"));
}

TEST_F(ProtectedSegment, RepeatsConfigurationsInTheClear) {
  addAvcTrack();
  addAacTrack();
  addDataTrack();
  add(9, 0, "17 01 000050 aa");
  add(8, 0, "af 01 bb");
  add(9, 40, "27 01 000000 cc");
  add(18, 50, "02");
  const auto writer = newProtectedSegment();
  write(*writer);
  // A media sample is parameters and cipher text, 17 + 16 bytes, behind the header bytes and six of the filter's.
  EXPECT_EQ(image().fragments.at(0),
            "9@0* 8@0 41@0[vide 22+33! 80ms] 40@0[soun 19+33] 41@40[vide 22+33] 50@50[meta 17+33]");
  EXPECT_EQ(arena.held, 4) << "the queue";
}

TEST_F(ProtectedSegment, MarksAccessPointsOfAudioAlone) {
  addMp3Track();
  add(8, 0, "2f bb");
  add(8, 0, "e0 bb");
  write(*newProtectedSegment());
  EXPECT_EQ(image().fragments.at(0), "40@0*[soun 18+33] 40@0[soun 17+33]") << "a format without header bytes as well";
}

TEST_F(ProtectedSegment, IsLikeTheClearOneWhereCodecsAreUnknown) {
  addVp6Track();
  add(9, 0, "14 00 aa");
  add(9, 40, "13 00 aa");
  add(9, 80, "24");
  write(*newProtectedSegment());
  EXPECT_EQ(image().fragments.at(0), "41@0*[vide 18+33!] 41@80[vide 17+33]");
}

TEST_F(ProtectedSegment, IsReadBackAndContinued) {
  addAvcTrack();
  addAacTrack();
  addDataTrack();
  add(9, 0, "17 01 000000 aa");
  const std::uint64_t position = write(*newProtectedSegment());
  const auto tracksBefore = image().tracks;

  Policy later = makePolicy("WFla");
  const auto writer = continueProtected(later, position);
  EXPECT_EQ(readBack(*writer), "vide eng 1000 7 H264 vide 640x360 72x72 1 24 160: " + flat(kAvcC) + ": " +
                                   sinfImage(kH264) + "\nsoun eng 1000 7 mp4a soun 44100x2x2 196: " + flat(kEsds) +
                                   ": " + sinfImage("6d703461") +
                                   "\nmeta eng 1000 7 amf0 meta 145: " + sinfImage("616d6630") + "\nhint eng 1000 0\n");
  queue.clear();
  add(9, 4000, "17 01 000000 aa");
  write(*writer);
  EXPECT_EQ(image().fragments.at(1), "9@4000* 8@4000 41@4000[vide 22+33!]");
  EXPECT_EQ(library.calls.at(library.calls.size() - 2), "querySample 1 1 4000 0 0 1 4");
  file = MemoryStream();
  K2RMediaWriter(later, properties, file);
  EXPECT_EQ(image().tracks.at(0), tracksBefore.at(0)) << "a new segment has the text of the first";
}

TEST_F(ProtectedSegment, IsRefusedWhereTheKindOfRecordingDiffers) {
  addDataTrack();
  const std::uint64_t inProtected = write(*newProtectedSegment());
  EXPECT_THROW(continueSegment(inProtected), qvs::QVSException);
  const std::uint64_t inClear = write(*newSegment());
  EXPECT_THROW(continueProtected(protectedPolicy, inClear), qvs::QVSException);
}

TEST(ProtectionBox, IsReadBack) {
  for (const std::string text : {"", "QUJD", "QUJDRA=="}) {
    ByteBuffer header(fromHex(kAvcC));
    const ByteBuffer sinf = makeSinfBox("H264"_4cc, text);
    header.append(sinf.bytes());
    const ProtectedCodecHeader split = splitCodecHeader(header);
    EXPECT_EQ(toText(split.clearFormat), "H264");
    EXPECT_EQ(hex(split.codec.bytes()), flat(kAvcC));
    EXPECT_EQ(split.sinf, sinf);
  }
}

TEST(ProtectionBox, IsRefusedAfterAnyChangeButOfItsText) {
  const ByteBuffer good = makeSinfBox("H264"_4cc, "QUJD");
  for (std::uint64_t i = 0; i < good.size(); ++i) {
    const bool format = i >= 16 && i < 20;
    const bool text = i >= 125 && i < 129;
    if (format || text) continue;
    ByteBuffer bad = good;
    bad.data()[i] ^= std::byte{0x10};
    EXPECT_THROW(splitCodecHeader(bad), MalformedProtection) << i;
  }
  for (std::uint64_t size = 0; size < good.size(); ++size) {
    EXPECT_THROW(splitCodecHeader(good.split(size).first), MalformedProtection) << size;
  }
  ByteBuffer longer = good;
  longer.append(fromHex("00"));
  EXPECT_THROW(splitCodecHeader(longer), MalformedProtection);
}

}  // namespace
