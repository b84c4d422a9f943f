#include "host/input/ReadPause.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace host {
namespace {

using std::chrono::milliseconds;

/// A source of that rate, which is read by the rules for so long: the longest pause at the end, and the most bytes that
/// gathered in one. Its packets have 1,316 bytes, as datagrams do.
struct Gathered {
  milliseconds pause{0};
  std::size_t bytes = 0;
};

Gathered gather(std::size_t bytesPerSecond) {
  constexpr std::size_t kPacket = 1316;
  const StopSignal stop;
  ReadPause pause(stop);
  Gathered result;
  for (int i = 0; i < 200; ++i) {
    const auto gathered = bytesPerSecond * static_cast<std::size_t>(pause.pause().count()) / 1000;
    if (i > 100) result.bytes = std::max(result.bytes, gathered);
    for (std::size_t read = 0; read + kPacket <= gathered; read += kPacket) pause.add(kPacket, false);
    pause.add(kPacket, true);
    if (i > 100) result.pause = std::max(result.pause, pause.pause());
  }
  return result;
}

TEST(ReadPause, NeverGathersMoreThanTheBuffersOfASourceTake) {
  EXPECT_EQ(gather(125'000).pause, ReadPause::kLongest);
  EXPECT_EQ(gather(0).pause, ReadPause::kLongest);
  for (const std::size_t megabits : {4U, 20U, 100U}) {
    const Gathered most = gather(megabits * 125'000);
    // One step longer than the pause in which the limit is reached.
    EXPECT_LE(most.bytes, ReadPause::kMostGathered + megabits * 125'000 / 50) << megabits;
    EXPECT_LT(most.bytes, std::size_t{4096} * 188) << megabits;
  }
}

TEST(ReadPause, IsOverWhenTheStopIsRequested) {
  StopSignal stop;
  ReadPause pause(stop);
  for (int i = 0; i < 20; ++i) pause.add(1, true);
  stop.request();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(pause.await());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, ReadPause::kLongest);
  EXPECT_FALSE(pause.await()) << "nothing was read since";
}

}  // namespace
}  // namespace host
