#pragma once

#include "platform/container/reading/SegmentReader.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/describe.h"
#include "tests/support/testing.h"

namespace test {

/// What a reader finds in a segment, from the header to the end of the file. Throws SegmentError for what is malformed.
class ReadSegment {
 public:
  explicit ReadSegment(std::span<const std::byte> bytes) : file_(bytes), reader_(file_) {
    for (auto box = reader_.boxAt(reader_.firstFragment()); box; box = reader_.boxAt(readFrom(*box))) {
    }
  }
  ReadSegment(const ReadSegment&) = delete;
  ReadSegment& operator=(const ReadSegment&) = delete;

  /// After the header: A for a whole fragment, F for `free`, R for `mfra`, ? for another box.
  std::string layout;
  std::vector<krvo::container::Fragment> fragments;
  /// What `mfra` says; none where it does not end the file.
  std::vector<krvo::container::RandomAccessTable::Entry> accessPoints;

  /// The samples of a fragment, as test::describe() has them.
  std::string samples(std::size_t fragment) const { return describe(fragments.at(fragment), reader_.movie()); }
  /// The bytes of the box that begins at `offset`, of any level.
  std::string image(std::uint64_t offset) const {
    const auto rest = std::span(file_.bytes).subspan(offset);
    return hex(rest.first(qvs::util::ByteReader(rest).u32()));
  }

 private:
  /// Returns where the next box begins.
  std::uint64_t readFrom(const krvo::container::BoxSpan& box) {
    using qvs::util::operator""_4cc;
    layout += box.type == "afra"_4cc ? 'A' : box.type == "free"_4cc ? 'F' : box.type == "mfra"_4cc ? 'R' : '?';
    if (box.type == "afra"_4cc) {
      fragments.push_back(reader_.readFragment(box.offset));
      reader_.readTags(fragments.back());
      EXPECT_EQ(fragments.back().sequenceNumber, fragments.size());
      return fragments.back().boxes.end();
    }
    if (box.type == "mfra"_4cc && box.end() == file_.size()) {
      const auto table = reader_.readRandomAccess(box);
      accessPoints.assign(table.entries().begin(), table.entries().end());
    }
    return box.end();
  }

  MemoryStream file_;
  krvo::container::SegmentReader reader_;
};

}  // namespace test
