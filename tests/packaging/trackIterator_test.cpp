#include <gtest/gtest.h>

#include "packaging/K2RTrackIterator.h"

namespace {

using namespace ruvo::k2rpkgutil;

TEST(K2RTrackIterator, WalksASnapshotThatOutlivesItsSource) {
  auto source = std::make_unique<std::vector<std::shared_ptr<K2RTrack>>>();
  for (const std::uint32_t duration : {7U, 5U}) {
    source->push_back(std::make_shared<K2RTrack>());
    source->back()->duration = duration;
  }
  K2RTrackIterator tracks(*source);
  source->front()->flags = 99;
  source->push_back(std::make_shared<K2RTrack>());
  source.reset();

  std::shared_ptr<K2RTrack> track;
  ASSERT_TRUE(tracks.hasNext());
  tracks.next(track);
  EXPECT_EQ(track->duration, 7U);
  EXPECT_EQ(track->flags, 99U) << "the track itself is shared";
  tracks.next(track);
  EXPECT_EQ(track->duration, 5U);
  EXPECT_FALSE(tracks.hasNext());
  tracks.next(track);
  EXPECT_EQ(track, nullptr);
}

TEST(K2RTrackIterator, OfNoTracksIsAtItsEnd) {
  EXPECT_FALSE(K2RTrackIterator({}).hasNext());
}

}  // namespace
