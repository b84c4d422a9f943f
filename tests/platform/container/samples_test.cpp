// The samples of a segment, read back through the library's handles.

#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/describe.h"
#include "tests/support/testing.h"
#include "util/fourcc.h"
#include "wrappers/k2m/Reader.h"

namespace krvo::k2m {
namespace {

using qvs::util::operator""_4cc;
using namespace test;

/// Two fragments with a `free` box between them, and an `mfra`. The second one's audio has a description of its own.
MemoryStream recorded() {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack();
  auto record = makeRecord<K2MAudioDescriptorInfo>();
  record.sampleRate = 8000;
  const auto second = maker.writer().k2mWriter().addAudioSampleDescriptor(maker.audioTrack(), record, {});
  maker.addHintTrack().start();
  maker.begin().sequenceHeader(0).video(0, true, 5, 80).audio(3, 2).video(40, false, 6);
  const std::uint64_t end = maker.start();
  maker.begin().audio(26, 3);
  maker.writer().k2mWriter().setSampleDescriptor(maker.audioTrack(), second);
  maker.start();
  maker.end();
  const auto free = test::fromHex("0000000a 66726565 aaaa");
  stream.bytes.insert(stream.bytes.begin() + static_cast<std::ptrdiff_t>(end), free.begin(), free.end());
  return stream;
}

/// The samples of a track, described with their size in the place of the duration, and "@rate" of an audio description;
/// at the end the status of what could not be read.
std::string samplesOf(IOStream& stream, std::size_t track) {
  std::string text;
  const auto status = statusOf([&] {
    const Reader reader(stream);
    const auto samples = reader.samples(reader.tracks().at(track));
    while (const auto sample = samples.next()) {
      const K2MSampleInfo info = sample->info();
      text += ' ' + describeSample(info.time, info.length, info.compositionOffset, info.flags != 0);
      if (track == 1) text += "@" + std::to_string(static_cast<int>(sample->descriptor().audioInfo().sampleRate));
    }
  });
  return text + (status == kKrvoOk ? "" : " status " + std::to_string(status));
}

TEST(StoredSamples, AreThoseOfAllFragmentsEachWithItsDescription) {
  MemoryStream stream = recorded();
  EXPECT_EQ(samplesOf(stream, 0), " 0+5/80! 40+6");
  EXPECT_EQ(samplesOf(stream, 1), " 3+2!@44100 26+3!@8000");
  EXPECT_EQ(samplesOf(stream, 2), " 0+23! 0+25! 3+19! 40+26! 26+20!") << "the tags";
  EXPECT_EQ(stream.references, 0);
}

TEST(StoredSamples, KeepTheirStreamAndGiveTheirBytes) {
  MemoryStream stream = recorded();
  std::optional<Sample> sample;
  {
    const Reader reader(stream);
    sample = reader.samples(reader.tracks().at(2)).next();
    EXPECT_EQ(sample->info().sampleType, "hint"_4cc);
  }
  EXPECT_EQ(stream.references, 1);
  std::vector<std::byte> tag(sample->info().length);
  sample->copyData(tag);
  EXPECT_EQ(test::hex(std::span(tag).first(18)), "09000008 00000000 00000017 00000000 191a");
  EXPECT_EQ(statusOf([&] { sample->copyData(std::span(tag).first(22)); }), kKrvoBadArgument);
  stream.bytesOfRead = 0;
  EXPECT_EQ(statusOf([&] { sample->copyData(tag); }), kKrvoReadFailed);
  sample.reset();
  EXPECT_EQ(stream.references, 0);
}

TEST(StoredSamples, AreWholeInFrontOfDamage) {
  MemoryStream stream = recorded();
  stream.bytes.resize(stream.bytes.size() - 1);
  EXPECT_EQ(samplesOf(stream, 0), " 0+5/80! 40+6 status 5") << "a cut `mfra`";
  const auto otherDescription = test::fromHex("0002003a 00000002 00000002");
  const auto found = std::ranges::search(stream.bytes, otherDescription);
  ASSERT_FALSE(found.empty());
  found.back() = std::byte{3};
  EXPECT_EQ(samplesOf(stream, 1), " 3+2!@44100 status 5") << "a description that the track does not have";
}

}  // namespace
}  // namespace krvo::k2m
