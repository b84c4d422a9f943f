// Pictures of a stream, compared with those that an independent decoder finds in it.

#include "host/serve/media/snapshot.h"

#include <random>

#include "host/serve/http/HttpMessage.h"
#include "host/serve/media/keyFrameJpeg.h"
#include "tests/serve/media/mediaRecordings.h"

namespace {

using namespace test;
using host::serve::HttpError;
using host::serve::snapshotAt;

class Snapshots : public testing::Test {
 protected:
  /// The mean difference, in steps of 256, between a JPEG and the picture of a file at a time, after both are RGB.
  double difference(const std::string& jpeg, const std::string& file, double seconds) {
    const std::string path = place_.file("snapshot.jpg");
    writeWholeFile(path, jpeg);
    EXPECT_EQ(mustRun("ffmpeg -v warning -i '" + path + "' -f null - 2>&1 | grep -v deprecated || true"), "");
    const std::string toRgb =
        " -frames:v 1 -vf scale=sws_flags=accurate_rnd+full_chroma_int -pix_fmt rgb24 -f rawvideo -";
    const std::string found = mustRun("ffmpeg -v error -i '" + path + "'" + toRgb);
    const std::string expected =
        mustRun("ffmpeg -v error -ss " + std::to_string(seconds) + " -i '" + file + "'" + toRgb);
    EXPECT_EQ(found.size(), expected.size());
    double sum = 0;
    for (std::size_t i = 0; i < std::min(found.size(), expected.size()); ++i)
      sum += std::abs(static_cast<unsigned char>(found[i]) - static_cast<unsigned char>(expected[i]));
    return sum / static_cast<double>(std::max<std::size_t>(found.size(), 1));
  }
  TempDirectory place_;
};

TEST_F(Snapshots, AreTheKeyFrameAtOrBeforeATime) {
  const std::string clip = place_.file("clip.mp4");
  makeClip(both(), clip);
  const auto messages = messagesOf(clip);
  const MadeRecording first(shortFragments(partOf(messages, 0, 8000)));
  const MadeRecording second(shortFragments(partOf(messages, 8000, 14000)));
  const std::vector<host::serve::MediaRecording> recordings = {{first.directory(), kNoon},
                                                               {second.directory(), kNoon + 20000}};
  // Key frames are every 2 s, and presented 80 ms after they are decoded.
  const std::tuple<std::optional<std::int64_t>, std::int64_t, double> rows[] = {
      {80, 80, 0}, {2079, 80, 0}, {15000, 6080, 6}, {20079, 6080, 6}, {20080, 20080, 8}, {std::nullopt, 24080, 12}};
  for (const auto& [atMs, timeMs, clipSeconds] : rows) {
    SCOPED_TRACE(timeMs);
    const auto snapshot = snapshotAt(recordings, atMs ? std::optional(kNoon + *atMs) : std::nullopt);
    EXPECT_EQ(snapshot.timeMs, kNoon + timeMs);
    EXPECT_LT(difference(contentOf(snapshot.body), clip, clipSeconds), 2);
  }
}

TEST_F(Snapshots, KeepColoursInAllFormats) {
  for (const std::string format : {"yuvj420p", "yuv422p", "yuv444p", "gray", "yuv420p10le"}) {
    SCOPED_TRACE(format);
    const std::string clip = place_.file(format + ".mp4");
    makeClip(
        "-f lavfi -i testsrc2=size=322x182:rate=5:duration=5 -c:v libx264 -preset ultrafast -g 5 -pix_fmt " + format,
        clip);
    const MadeRecording recording(shortFragments(messagesOf(clip)));
    EXPECT_LT(difference(contentOf(snapshotAt({{recording.directory(), kNoon}}, kNoon + 1).body), clip, 0), 2);
  }
}

unsigned statusAt(const std::string& directory, std::int64_t atMs) {
  try {
    snapshotAt({{directory, kNoon}}, atMs);
  } catch (const HttpError& error) {
    return error.status;
  }
  return 200;
}

TEST_F(Snapshots, SayWhatCannotBeShown) {
  const MadeRecording clip(shortFragments(clipMessages()));
  EXPECT_EQ(statusAt(clip.directory(), kNoon + 79), 404U);
  EXPECT_EQ(statusAt(clip.directory(), kNoon - 1), 404U);
  EXPECT_EQ(statusAt(clip.directory(), kNoon + 80), 200U);
  const MadeRecording sound(shortFragments(stream().audio(20).until(8001)));
  EXPECT_EQ(statusAt(sound.directory(), kNoon + 4000), 404U);
  const MadeRecording flash(shortFragments(otherCodecs(8001)));
  EXPECT_EQ(statusAt(flash.directory(), kNoon + 4000), 501U);
  const MadeRecording nonsense(shortFragments(stream().keyFramesEvery(2000).until(8001)));
  EXPECT_EQ(statusAt(nonsense.directory(), kNoon + 4000), 501U);
}

TEST_F(Snapshots, SurviveDamage) {
  const auto& messages = clipMessages();
  const auto header = std::ranges::find_if(messages, [](const auto& m) { return m.type == 9 && isSequenceHeader(m); });
  const auto key = std::ranges::find_if(messages, [](const auto& m) { return m.type == 9 && !isSequenceHeader(m); });
  std::mt19937 random(7);
  int made = 0;
  for (int i = 0; i < 300; ++i) {
    std::vector<std::byte> configuration(header->data.begin() + 5, header->data.end());
    std::vector<std::byte> sample(key->data.begin() + 5, key->data.end());
    for (auto* const bytes : {&configuration, &sample})
      if (i > 0 && random() % 2 == 0) (*bytes)[random() % bytes->size()] = static_cast<std::byte>(random());
    try {
      made += host::serve::keyFrameJpeg(configuration, sample).empty() ? 0 : 1;
    } catch (const host::serve::PictureError&) {
    }
  }
  EXPECT_GT(made, 10);
  EXPECT_LE(made, 300);
}

}  // namespace
