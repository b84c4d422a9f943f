// Numbers at the edges of their fields, on a stream that keeps no more than it must.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/container/SegmentReader.h"
#include "platform/container/fragmentReader.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"

namespace krvo::container {
namespace {

using test::hex;
using test::SegmentMaker;
using test::statusOf;

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

/// A file of any size, zero where nothing was written. Of a write above a megabyte it keeps the ends.
class SparseStream final : public k2m::IOStream, public Source {
 public:
  void addReference() override {}
  void release() override {}
  void open() override { position_ = 0; }
  void close() override {}
  void seek(std::int64_t offset, std::uint32_t mode) override {
    position_ = (mode == 2 ? size_ : 0) + static_cast<std::uint64_t>(offset);
  }
  std::uint64_t tell() override { return position_; }
  void flush() override {}

  std::uint64_t write(const void* buffer, std::uint64_t count) override {
    constexpr std::uint64_t kKept = 64;
    const std::span bytes(static_cast<const std::byte*>(buffer), count);
    if (count <= kGiB / 1024) {
      put(position_, bytes);
    } else {
      put(position_, bytes.first(kKept));
      put(position_ + count - kKept, bytes.last(kKept));
    }
    largestWrite = std::max(largestWrite, count);
    position_ += count;
    return count;
  }
  std::uint64_t read(void* buffer, std::uint64_t count) override {
    count = std::min(count, std::max(size_, position_) - position_);
    read(position_, {static_cast<std::byte*>(buffer), count});
    position_ += count;
    return count;
  }
  void read(std::uint64_t offset, std::span<std::byte> out) override {
    std::ranges::fill(out, std::byte{0});
    for (const auto& [start, bytes] : pieces_) {
      const std::uint64_t from = std::max(start, offset);
      const std::uint64_t to = std::min(start + bytes.size(), offset + out.size());
      if (from < to) std::memcpy(&out[from - offset], &bytes[from - start], to - from);
    }
  }
  std::uint64_t size() override { return size_; }

  void put(std::uint64_t offset, std::span<const std::byte> bytes) {
    pieces_.emplace_back(offset, std::vector(bytes.begin(), bytes.end()));
    size_ = std::max(size_, offset + bytes.size());
  }

  std::uint64_t largestWrite = 0;

 private:
  /// Later ones lie over earlier ones.
  std::vector<std::pair<std::uint64_t, std::vector<std::byte>>> pieces_;
  std::uint64_t position_ = 0;
  std::uint64_t size_ = 0;
};

std::string bytesAt(Source& source, std::uint64_t offset, std::size_t count) {
  std::vector<std::byte> bytes(count);
  source.read(offset, bytes);
  return hex(bytes);
}

class Large : public testing::Test {
 protected:
  Large() : maker_(std::in_place, stream_) { maker_->addVideoTrack().addAudioTrack().addHintTrack(); }

  /// Tags of 16 MiB that are no media samples, all of the same memory.
  void addLargeTags(std::uint32_t count) {
    auto info = k2m::makeRecord<K2MSampleInfo>();
    info.length = static_cast<std::uint32_t>(largeTag_.size());
    info.timescale = 1000;
    const auto buffer = k2m::makeDataBuffer(largeTag_.data());
    for (std::uint32_t i = 0; i < count; ++i)
      maker_->writer().addSampleWithAfra(maker_->hintTrack(), buffer, info, true);
  }

  SparseStream stream_;
  std::optional<SegmentMaker> maker_;
  std::vector<std::byte> largeTag_ = std::vector<std::byte>(std::size_t{16} << 20);
};

TEST_F(Large, MediaDataBeyond4GiBHaveA64BitSize) {
  const std::uint64_t position = maker_->start();
  maker_->begin().audio(0, 100);
  addLargeTags(257);
  const std::uint64_t end = maker_->start();
  EXPECT_GT(end, 4 * kGiB);

  SegmentReader reader(stream_);
  const Fragment fragment = reader.readFragment(position);
  const BoxSpan& mdat = fragment.boxes.mdat;
  EXPECT_EQ(bytesAt(stream_, mdat.offset, 16), "00000001 6d646174 00000001 01000085");
  EXPECT_EQ(mdat.headerSize, 16U);
  EXPECT_EQ(mdat.end(), end);
  EXPECT_EQ(fragment.accessPoints.back().offset, end - (std::uint64_t{16} << 20) - position);
  EXPECT_LE(stream_.largestWrite, std::uint64_t{1} << 30);

  maker_->begin().audio(23, 100);
  const std::uint64_t last = maker_->start();
  EXPECT_EQ(reader.readFragment(end).sequenceNumber, 2U) << "the file goes on behind 4 GiB";
  maker_->end();
  const auto mfra = reader.boxAt(last);
  ASSERT_TRUE(mfra && mfra->type == "mfra"_4cc);
  EXPECT_GT(reader.readRandomAccess(*mfra).entries().back().moofOffset, 4 * kGiB);
}

TEST_F(Large, MediaDataOfJustUnder4GiBHaveA32BitSize) {
  // With a header of 8 bytes the first comes to 2^32 - 1.
  const struct {
    std::uint64_t tagBytes;
    const char* header;
  } rows[] = {{0xFFFFFFF7, "ffffffff 6d646174"}, {0xFFFFFFF8, "00000001 6d646174"}};
  std::uint64_t position = maker_->start();
  for (const auto& row : rows) {
    maker_->begin();
    addLargeTags(255);
    largeTag_.resize(row.tagBytes - 255 * largeTag_.size());
    addLargeTags(1);
    const std::uint64_t next = maker_->start();
    EXPECT_EQ(bytesAt(stream_, locateFragment(stream_, position).mdat.offset, 8), row.header);
    position = next;
    largeTag_.resize(std::size_t{16} << 20);
  }
}

TEST_F(Large, SamplesTooFarFromTheirMoofAreRefused) {
  const std::uint64_t position = maker_->start();
  maker_->begin();
  addLargeTags(128);
  maker_->audio(0, 100);
  EXPECT_EQ(statusOf([&] { maker_->start(); }), kKrvoTooLarge);
  EXPECT_EQ(stream_.size(), position) << "nothing was written";
  EXPECT_EQ(maker_->heldTags(), 0U);

  maker_->begin();
  addLargeTags(127);
  maker_->audio(0, 100);
  EXPECT_GT(maker_->start(), position);
}

TEST_F(Large, DistancesBeyond32BitsAreRefused) {
  const std::uint64_t position = maker_->start();
  maker_->begin().audio(0, 10).audio(0xFFFFFFFF, 10).audio(0x1FFFFFFFF, 10);
  EXPECT_EQ(statusOf([&] { maker_->start(); }), kKrvoTooLarge);
  EXPECT_EQ(stream_.size(), position);
  maker_->begin().audio(0x1FFFFFFFF, 10);
  maker_->start();
  EXPECT_EQ(SegmentReader(stream_).readFragment(position).tracks.at(0).decodeTime, 0x1FFFFFFFFU);
}

/// The last indexed fragment is moved far behind in the file, with a lot of old bytes behind it.
TEST_F(Large, FilesAreContinuedAtAnyPosition) {
  const std::uint64_t first = maker_->start();
  maker_->begin().video(0, true, 50);
  const std::uint64_t end = maker_->start();
  maker_->end();
  std::vector<std::byte> fragment(end - first);
  stream_.read(first, fragment);
  const std::uint64_t far = 6 * kGiB;
  stream_.put(far, fragment);
  stream_.put(far + 5 * kGiB - 1, std::vector(1, std::byte{0xAA}));

  maker_.emplace(stream_, far);
  const std::uint64_t behind = far + fragment.size();
  EXPECT_EQ(maker_->start(), behind);
  // 5 GiB less the fragment.
  EXPECT_EQ(fragment.size(), 0x12CU);
  EXPECT_EQ(bytesAt(stream_, behind, 16), "00000001 66726565 00000001 3ffffed4");
  maker_->begin().video(40, false, 50);
  const std::uint64_t next = maker_->start();
  EXPECT_EQ(readBoxAt(stream_, next).type, "free"_4cc);
  EXPECT_EQ(readBoxAt(stream_, next).end(), far + 5 * kGiB);
  EXPECT_EQ(SegmentReader(stream_).readFragment(behind).sequenceNumber, 2U);
}

TEST_F(Large, NoPositionPassesWhatAStreamCanSeek) {
  const std::uint64_t first = maker_->start();
  maker_->begin().video(0, true, 50);
  std::vector<std::byte> fragment(maker_->start() - first);
  maker_->end();
  stream_.read(first, fragment);
  const std::uint64_t far = (std::uint64_t{1} << 63) - fragment.size() - 100;
  stream_.put(far, fragment);
  maker_.emplace(stream_, far);
  const std::uint64_t end = maker_->start();
  maker_->begin().video(40, false, 50);
  EXPECT_EQ(statusOf([&] { maker_->start(); }), kKrvoTooLarge);
  EXPECT_EQ(maker_->start(), end);
  EXPECT_EQ(maker_->heldTags(), 0U);
}

}  // namespace
}  // namespace krvo::container
