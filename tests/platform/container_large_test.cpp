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

using test::SegmentMaker;
using test::statusOf;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr std::uint64_t kGiB = kMiB << 10;

/// A file of any size that keeps writes of up to a megabyte; all else is zero.
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
    EXPECT_LE(count, kGiB);
    put(position_, {static_cast<const std::byte*>(buffer), count <= kMiB ? count : 0});
    position_ += count;
    size_ = std::max(size_, position_);
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
  std::string image(std::uint64_t offset, std::size_t count) {
    std::vector<std::byte> bytes(count);
    read(offset, bytes);
    return test::hex(bytes);
  }

 private:
  /// Later ones lie over earlier ones.
  std::vector<std::pair<std::uint64_t, std::vector<std::byte>>> pieces_;
  std::uint64_t position_ = 0;
  std::uint64_t size_ = 0;
};

class Large : public testing::Test {
 protected:
  Large() : maker_(std::in_place, stream_) { maker_->addVideoTrack().addAudioTrack().addHintTrack(); }

  /// Tags that are no media samples, all of the same memory.
  void addLargeTags(std::uint32_t count, std::uint64_t size = 16 * kMiB) {
    auto info = k2m::makeRecord<K2MSampleInfo>();
    info.length = static_cast<std::uint32_t>(size);
    info.timescale = 1000;
    const auto buffer = k2m::makeDataBuffer(largeTag_.data());
    for (std::uint32_t i = 0; i < count; ++i)
      maker_->writer().addSampleWithAfra(maker_->hintTrack(), buffer, info, true);
  }

  /// A fragment of one frame, which is then moved to `position`, for the file to be continued there.
  std::uint64_t continueAt(std::uint64_t position) {
    const std::uint64_t first = maker_->start();
    maker_->begin().video(0, true, 50);
    std::vector<std::byte> fragment(maker_->start() - first);
    maker_->end();
    stream_.read(first, fragment);
    stream_.put(position, fragment);
    return position + fragment.size();
  }

  SparseStream stream_;
  std::optional<SegmentMaker> maker_;
  const std::vector<std::byte> largeTag_ = std::vector<std::byte>(16 * kMiB);
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
  EXPECT_EQ(stream_.image(mdat.offset, 16), "00000001 6d646174 00000001 01000085");
  EXPECT_EQ(mdat.end(), end);
  EXPECT_EQ(fragment.accessPoints.back().offset, end - 16 * kMiB - position);

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
    addLargeTags(1, row.tagBytes - 255 * 16 * kMiB);
    const std::uint64_t next = maker_->start();
    EXPECT_EQ(stream_.image(locateFragment(stream_, position).mdat.offset, 8), row.header);
    position = next;
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

TEST_F(Large, FilesAreContinuedAtAnyPositionOverAnyLeftover) {
  const std::uint64_t position = 6 * kGiB;
  const std::uint64_t behind = continueAt(position);
  stream_.put(position + 5 * kGiB - 1, std::vector(1, std::byte{0xAA}));
  maker_.emplace(stream_, position);
  EXPECT_EQ(maker_->start(), behind);
  // 5 GiB less the fragment.
  EXPECT_EQ(behind - position, 0x12CU);
  EXPECT_EQ(stream_.image(behind, 16), "00000001 66726565 00000001 3ffffed4");
  maker_->begin().video(40, false, 50);
  const std::uint64_t next = maker_->start();
  EXPECT_EQ(readBoxAt(stream_, next).type, "free"_4cc);
  EXPECT_EQ(readBoxAt(stream_, next).end(), position + 5 * kGiB);
  EXPECT_EQ(SegmentReader(stream_).readFragment(behind).sequenceNumber, 2U);
}

TEST_F(Large, NoPositionPassesWhatAStreamCanSeek) {
  const std::uint64_t position = (std::uint64_t{1} << 63) - 400;
  const std::uint64_t end = continueAt(position);
  maker_.emplace(stream_, position);
  maker_->start();
  maker_->begin().video(40, false, 50);
  EXPECT_EQ(statusOf([&] { maker_->start(); }), kKrvoTooLarge);
  EXPECT_EQ(maker_->start(), end);
  EXPECT_EQ(maker_->heldTags(), 0U);
}

}  // namespace
}  // namespace krvo::container
