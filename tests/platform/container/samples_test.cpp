// The samples of a segment, read back through the library's handles.

#include "tests/support/SegmentMaker.h"
#include "tests/support/describe.h"
#include "tests/support/testing.h"
#include "wrappers/k2m/Reader.h"

namespace krvo::k2m {
namespace {

using namespace test;

/// The samples of a track, described with their size in the place of the duration; at the end the status of what could
/// not be read.
std::string samplesOf(IOStream& stream, std::size_t track) {
  std::string text;
  const auto status = statusOf([&] {
    const Reader reader(stream);
    const auto samples = reader.samples(reader.tracks().at(track));
    while (const auto sample = samples.next()) {
      const K2MSampleInfo info = sample->info();
      text += ' ' + describeSample(info.time, info.length, info.compositionOffset, info.flags != 0);
    }
  });
  return text + (status == kKrvoOk ? "" : " status " + std::to_string(status));
}

TEST(StoredSamples, AreThoseOfAllFragmentsUpToDamage) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  maker.begin().sequenceHeader(0).video(0, true, 5, 80).audio(3, 2).video(40, false, 6).start();
  maker.begin().audio(26, 3).start();
  maker.end();
  EXPECT_EQ(samplesOf(stream, 0), " 0+5/80! 40+6");
  EXPECT_EQ(samplesOf(stream, 1), " 3+2! 26+3!");
  EXPECT_EQ(samplesOf(stream, 2), " 0+23! 0+25! 3+19! 40+26! 26+20!") << "the tags";
  stream.bytes.resize(stream.bytes.size() - 1);
  EXPECT_EQ(samplesOf(stream, 0), " 0+5/80! 40+6 status 5") << "a cut `mfra`";
  EXPECT_EQ(stream.references, 0);
}

}  // namespace
}  // namespace krvo::k2m
