// What the boxes cost, on streams with the timing of real ones: times in whole milliseconds, frames of ever different
// sizes, the bootstrap of a steady recording.

#include <gtest/gtest.h>

#include <random>

#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"

namespace {

using test::MemoryStream;
using test::SegmentMaker;

constexpr std::uint32_t kSeconds = 120;
constexpr std::uint32_t kFragmentMs = 4000;
/// As large as one with a segment run and a fragment run.
const std::string kBootstrap(94, 'b');

/// Frames of about `bitRate` bits a second in all, at times that are rounded as they are on the wire.
class FrameSource {
 public:
  FrameSource(double frameRate, double bitRate) : period_(1000 / frameRate), size_(bitRate / 8 / frameRate) {}

  std::uint32_t time() const { return static_cast<std::uint32_t>(static_cast<double>(count_) * period_); }
  std::uint32_t count() const { return count_; }
  std::uint32_t take() {
    ++count_;
    return static_cast<std::uint32_t>(size_ * spread_(random_));
  }

 private:
  double period_;
  double size_;
  std::uint32_t count_ = 0;
  std::mt19937 random_{1};
  std::uniform_real_distribution<double> spread_{0.8, 1.2};
};

/// Bytes of the file that are not tags, per byte of the file.
double overhead(SegmentMaker& maker, MemoryStream& stream, FrameSource* video, FrameSource& audio) {
  std::uint64_t tagBytes = 0;
  maker.start();
  for (std::uint32_t end = kFragmentMs; end <= kSeconds * 1000; end += kFragmentMs) {
    maker.begin(kBootstrap);
    while (audio.time() < end) {
      while (video != nullptr && video->time() <= audio.time()) {
        const std::uint32_t number = video->count();
        const std::uint32_t time = video->time();
        const std::uint32_t size = video->take();
        maker.video(time, number % 60 == 0, size, number % 3 == 0 ? 100 : 33);
        tagBytes += size + 20;
      }
      const std::uint32_t time = audio.time();
      const std::uint32_t size = audio.take();
      maker.audio(time, size);
      tagBytes += size + 17;
    }
    maker.start();
  }
  maker.end();
  return 1 - static_cast<double>(tagBytes) / static_cast<double>(stream.bytes.size());
}

TEST(Overhead, OfVideoAndAudioIsBelowOneAndAHalfPercent) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  FrameSource video(30, 1'600'000);
  FrameSource audio(44100.0 / 1024, 96'000);
  const double share = overhead(maker, stream, &video, audio);
  RecordProperty("percent", std::to_string(100 * share));
  EXPECT_LT(share, 0.015);
}

TEST(Overhead, OfLoneAudioIsBelowFifteenPercent) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addAudioTrack().addHintTrack();
  FrameSource audio(44100.0 / 1024, 64'000);
  const double share = overhead(maker, stream, nullptr, audio);
  RecordProperty("percent", std::to_string(100 * share));
  EXPECT_LT(share, 0.15);
}

}  // namespace
