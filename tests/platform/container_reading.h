#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "platform/container/SegmentReader.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/hex.h"
#include "util/tagHeader.h"

namespace test {

/// What a reader finds in a segment, from the header to the end of the file. Samples that are not the tags, and numbers
/// out of order, are a failure of the test.
class ReadSegment {
 public:
  explicit ReadSegment(std::span<const std::byte> bytes) : file_(bytes), reader_(file_) {
    for (auto box = reader_.boxAt(reader_.firstFragment()); box; box = reader_.boxAt(readFrom(*box))) {
    }
  }
  ReadSegment(const ReadSegment&) = delete;
  ReadSegment& operator=(const ReadSegment&) = delete;

  /// Behind the header: A for a whole fragment, F for `free`, R for `mfra`, ? for another box.
  std::string layout;
  std::vector<krvo::container::Fragment> fragments;
  /// What `mfra` says; none where it does not end the file.
  std::vector<krvo::container::RandomAccessTable::Entry> accessPoints;

  const krvo::container::Movie& movie() const { return reader_.movie(); }
  /// The bytes of the box that begins at `offset`, of any level.
  std::string image(std::uint64_t offset) const {
    const auto rest = std::span(file_.bytes).subspan(offset);
    return hex(rest.first(qvs::util::ByteReader(rest).u32()));
  }

 private:
  /// Answers where the next box begins.
  std::uint64_t readFrom(const krvo::container::BoxSpan& box) {
    using qvs::util::operator""_4cc;
    layout += box.type == "afra"_4cc ? 'A' : box.type == "free"_4cc ? 'F' : box.type == "mfra"_4cc ? 'R' : '?';
    if (box.type == "afra"_4cc) {
      fragments.push_back(reader_.readFragment(box.offset));
      check(fragments.back(), reader_.readTags(fragments.back()));
      return fragments.back().boxes.end();
    }
    if (box.type == "mfra"_4cc && box.end() == file_.size()) {
      const auto table = reader_.readRandomAccess(box);
      accessPoints.assign(table.entries().begin(), table.entries().end());
    }
    return box.end();
  }

  void check(const krvo::container::Fragment& fragment, const std::vector<krvo::container::StoredTag>& tags) const {
    EXPECT_EQ(fragment.sequenceNumber, fragments.size());
    std::size_t hints = 0;
    for (const auto& track : fragment.tracks) {
      const bool isHint = movie().tracks.at(track.trackId - 1)->isHint();
      for (const auto& sample : track.samples) {
        const std::uint64_t end = sample.offset + sample.size;
        const bool isWhole =
            isHint && hints < tags.size() && sample.offset == tags[hints].offset && end == tags[hints].end();
        const bool isInOne = !isHint && std::ranges::any_of(tags, [&](const auto& tag) {
          return sample.offset >= tag.dataOffset() && end <= tag.end() - qvs::util::kTagBackPointerSize;
        });
        EXPECT_TRUE(isWhole || isInOne) << "sample of track " << track.trackId << " at " << sample.offset;
        hints += isHint ? 1 : 0;
      }
    }
    EXPECT_EQ(hints, tags.size());
    for (const auto& point : fragment.accessPoints) {
      EXPECT_TRUE(std::ranges::any_of(
          tags, [&](const auto& tag) { return tag.offset == fragment.boxes.position() + point.offset; }));
    }
  }

  MemoryStream file_;
  krvo::container::SegmentReader reader_;
};

/// The samples of a fragment whose last track is the hint track. "1: 80+40/120! 120+40, 2: 80+23, 3 tags": time and
/// duration, the composition offset where there is one, ! for a sync sample; one that shares a run with the sample
/// before it is joined by ~.
inline std::string samplesOf(const krvo::container::Fragment& fragment) {
  std::string text;
  for (const auto& track : std::span(fragment.tracks).first(fragment.tracks.size() - 1)) {
    text += std::to_string(track.trackId) + ":";
    std::uint32_t run = 0;
    for (const auto& sample : track.samples) {
      text +=
          (sample.run == run ? "~" : " ") + std::to_string(sample.decodeTime) + "+" + std::to_string(sample.duration);
      if (sample.compositionOffset != 0) text += "/" + std::to_string(sample.compositionOffset);
      if (sample.sync) text += "!";
      run = sample.run;
    }
    text += ", ";
  }
  return text + std::to_string(fragment.tracks.back().samples.size()) + " tags";
}

}  // namespace test
