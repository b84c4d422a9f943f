#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <optional>
#include <random>
#include <vector>

#include "fragmentation/AVFragmenter.h"

namespace {

using ruvo::k2r::AVFragmenter;
using ruvo::k2r::FragmentAction;
using ruvo::k2r::FragmentDecision;
using ruvo::k2r::FragmentRange;
using ruvo::k2r::SampleInfo;
using ruvo::k2r::SampleKind;

using Stream = std::vector<SampleInfo>;

/// A stream of audio, video and data with bursts, gaps and key frames as rare as the seed has them.
Stream randomStream(std::uint32_t duration, std::mt19937& random) {
  const auto below = [&random](std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); };
  const std::uint32_t step = 1 + below(duration);
  const std::uint32_t keyEvery = 1 + below(below(2) == 0 ? 3 : 30);
  Stream stream;
  std::uint64_t time = below(2) == 0 ? duration * below(3) : below(5 * duration);
  for (int i = 0; i < 300; ++i) {
    SampleInfo sample{.kind = static_cast<SampleKind>(below(3)), .time = time, .keyFrame = false};
    sample.keyFrame = sample.kind == SampleKind::Video && below(keyEvery) == 0;
    stream.push_back(sample);
    time += below(10) == 0 ? below(6 * duration) : below(step);
    if (below(8) == 0) time += duration - time % duration;
  }
  return stream;
}

/// What the decisions make of a stream: the queue of samples, and the fragments taken from it.
class Recording {
 public:
  struct Fragment {
    std::uint32_t number;
    std::uint64_t start;
    Stream samples;
  };

  explicit Recording(std::uint32_t duration) : duration_(duration) {}

  void add(const FragmentDecision& decision, const SampleInfo& sample) {
    const FragmentRange& range = decision.range;
    if (decision.action == FragmentAction::StartRecording) {
      EXPECT_FALSE(last_) << "a second start";
      EXPECT_EQ(range.startTime, range.endTime);
      queue_.clear();
    } else if (decision.action != FragmentAction::None) {
      expectJoins(range);
      take(decision);
    }
    queue_.push_back(sample);
  }

  const std::vector<Fragment>& fragments() const { return fragments_; }
  const std::deque<SampleInfo>& queue() const { return queue_; }

 private:
  void expectJoins(const FragmentRange& range) {
    EXPECT_LT(range.startTime, range.endTime);
    EXPECT_EQ(range.fragmentNumber, range.startTime / duration_ + 1);
    if (last_) {
      EXPECT_EQ(range.startTime, last_->endTime);
      EXPECT_GT(range.fragmentNumber, last_->fragmentNumber);
    }
    last_ = range;
  }

  void take(const FragmentDecision& decision) {
    switch (decision.action) {
      case FragmentAction::WriteFragment:
        EXPECT_FALSE(held_) << "a fragment written past a held one";
        write(decision.range, decision.range.endTime);
        break;
      case FragmentAction::HoldFragment:
        EXPECT_FALSE(held_) << "a second fragment held";
        held_ = decision.range;
        break;
      case FragmentAction::SkipFragment:
        EXPECT_TRUE(held_) << "a slot skipped with nothing held";
        break;
      case FragmentAction::FlushHeldFragment:
        ASSERT_TRUE(held_) << "a flush with nothing held";
        write(*held_, decision.range.endTime);
        held_.reset();
        break;
      default:
        ADD_FAILURE() << "no action of a video stream";
    }
  }

  void write(const FragmentRange& range, std::uint64_t limit) {
    const auto end =
        std::find_if(queue_.begin(), queue_.end(), [&](const auto& sample) { return sample.time >= limit; });
    fragments_.push_back({range.fragmentNumber, range.startTime, {queue_.begin(), end}});
    queue_.erase(queue_.begin(), end);
  }

  std::uint32_t duration_;
  std::deque<SampleInfo> queue_;
  std::vector<Fragment> fragments_;
  std::optional<FragmentRange> last_;
  std::optional<FragmentRange> held_;
};

Recording record(const Stream& stream, std::uint32_t duration) {
  AVFragmenter fragmenter(duration, true);
  Recording recording(duration);
  for (const SampleInfo& sample : stream) recording.add(fragmenter.addSample(sample), sample);
  return recording;
}

constexpr unsigned kSeeds = 1000;

std::uint32_t durationOf(unsigned seed) {
  constexpr std::uint32_t kDurations[] = {1, 333, 1000, 4000};
  return kDurations[seed % 4];
}

TEST(AVFragmenterProperty, RangesJoinAndNumbersRise) {
  for (unsigned seed = 0; seed < kSeeds && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    record(randomStream(durationOf(seed), random), durationOf(seed));
  }
}

TEST(AVFragmenterProperty, EverySampleBehindTheLeadInIsWrittenOnceOrStillQueued) {
  for (unsigned seed = 0; seed < kSeeds && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Stream stream = randomStream(durationOf(seed), random);
    const Recording recording = record(stream, durationOf(seed));
    Stream kept;
    for (const auto& fragment : recording.fragments()) {
      ASSERT_FALSE(fragment.samples.empty());
      EXPECT_GE(fragment.samples.front().time, fragment.start);
      kept.insert(kept.end(), fragment.samples.begin(), fragment.samples.end());
    }
    kept.insert(kept.end(), recording.queue().begin(), recording.queue().end());
    ASSERT_LE(kept.size(), stream.size());
    EXPECT_TRUE(std::equal(kept.rbegin(), kept.rend(), stream.rbegin()));
  }
}

TEST(AVFragmenterProperty, EveryFragmentBeginsWithAKeyFrame) {
  for (unsigned seed = 0; seed < kSeeds && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Stream stream = randomStream(durationOf(seed), random);
    // Two pictures never share a time.
    std::erase_if(stream, [](const SampleInfo& sample) { return sample.kind != SampleKind::Video; });
    stream.erase(std::unique(stream.begin(), stream.end(),
                             [](const auto& sample, const auto& next) { return sample.time == next.time; }),
                 stream.end());
    const Recording recording = record(stream, durationOf(seed));
    for (const auto& fragment : recording.fragments()) {
      ASSERT_FALSE(fragment.samples.empty()) << "fragment " << fragment.number;
      EXPECT_TRUE(fragment.samples.front().keyFrame) << "fragment " << fragment.number;
    }
  }
}

TEST(AVFragmenterProperty, DecisionsDependOnTheSamplesAlone) {
  std::mt19937 random(7);
  const Stream stream = randomStream(4000, random);
  AVFragmenter one(4000, true);
  AVFragmenter other(4000, true);
  for (const SampleInfo& sample : stream) {
    SampleInfo sameTime = sample;
    sameTime.kind = SampleKind::Data;
    const FragmentDecision decision = one.addSample(sample);
    const SampleInfo end{.kind = SampleKind::Video, .time = sample.time + 5000, .keyFrame = true};
    one.endOfStream(end);
    EXPECT_EQ(decision, other.addSample(sameTime)) << sample.time;
  }
}

}  // namespace
