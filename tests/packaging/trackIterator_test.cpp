#include <gtest/gtest.h>

#include "packaging/K2RTrackIterator.h"

namespace {

using namespace ruvo::k2rpkgutil;

TEST(K2RTrackIterator, WalksASnapshotToItsEnd) {
  std::vector source{std::make_shared<K2RTrack>(), std::make_shared<K2RTrack>()};
  const auto tracksThen = source;
  K2RTrackIterator tracks(source);
  source.clear();
  std::shared_ptr<K2RTrack> track;
  for (const auto& expected : tracksThen) {
    ASSERT_TRUE(tracks.hasNext());
    tracks.next(track);
    EXPECT_EQ(track, expected);
  }
  EXPECT_FALSE(tracks.hasNext());
  tracks.next(track);
  EXPECT_EQ(track, nullptr);
}

}  // namespace
