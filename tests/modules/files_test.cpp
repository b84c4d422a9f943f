#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "modules/streams/k2r/K2RIOStream.h"
#include "modules/streams/k2r/fileNames.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

/// Tells what reaches the host.
class CountingFiles : public test::DiskFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    EXPECT_EQ(mode, 0x180U) << "the owner reads and writes";
    flagsSeen = flags;
    return DiskFileContext::open(path, flags, mode, share);
  }
  void close(std::int32_t handle, std::uint32_t reserved) override {
    ++closes;
    DiskFileContext::close(handle, reserved);
  }
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    ++reads;
    return DiskFileContext::read(handle, offset, buffer, length);
  }

  std::uint32_t flagsSeen = 0;
  int closes = 0;
  int reads = 0;
};

class SegmentStream : public testing::Test {
 protected:
  SegmentStream() { test::writeWholeFile(path_, "0123456789"); }
  static std::uint64_t sizeOf(K2RIOStream& stream) {
    stream.seek(0, 2);
    return stream.tell();
  }

  test::TempDirectory directory_;
  std::string path_ = directory_.file("cam1Seg1.k2r");
  CountingFiles files_;
  K2RIOStream stream_{&files_, test::modulePath(path_), true};
};

TEST_F(SegmentStream, CutsAStaleFileToZeroUnlessItAppends) {
  stream_.open();
  EXPECT_EQ(files_.flagsSeen, 0x8102U);
  EXPECT_EQ(sizeOf(stream_), 10U);
  K2RIOStream fresh(&files_, test::modulePath(path_), false);
  fresh.open();
  EXPECT_EQ(files_.flagsSeen, 0x8302U);
  EXPECT_EQ(sizeOf(fresh), 0U);
}

TEST_F(SegmentStream, ReadsAndWritesAtItsPosition) {
  stream_.open();
  stream_.seek(-2, 2);
  char bytes[4] = {};
  EXPECT_EQ(stream_.read(bytes, 4), 2U);
  EXPECT_EQ(std::string(bytes), "89");
  EXPECT_EQ(stream_.tell(), 10U);
  EXPECT_EQ(stream_.read(bytes, 4), 0U) << "at the end";
  stream_.seek(-7, 1);
  EXPECT_EQ(stream_.write("abc", 3), 3U);
  EXPECT_EQ(sizeOf(stream_), 10U) << "a write inside the file keeps its size";
  EXPECT_EQ(stream_.write("xy", 2), 2U);
  EXPECT_EQ(sizeOf(stream_), 12U);
  EXPECT_THAT([this] { stream_.seek(0, 3); },
              testing::ThrowsMessage<QVSException>("Invalid Mode for krvo::k2m::IOStream::Seek()"));
  stream_.close();
  EXPECT_EQ(test::readWholeFile(path_), "012abc6789xy");
}

TEST_F(SegmentStream, ClosesOnceWithItsLastReference) {
  stream_.addReference();
  stream_.addReference();
  stream_.open();
  stream_.release();
  EXPECT_EQ(files_.closes, 0);
  stream_.release();
  stream_.close();
  EXPECT_EQ(files_.closes, 1);
}

TEST_F(SegmentStream, AnswersNothingWhereThereIsNothing) {
  char byte = 0;
  EXPECT_EQ(stream_.read(&byte, 1), 0U) << "closed";
  EXPECT_EQ(stream_.write(&byte, 1), 0U) << "closed";
  stream_.open();
  EXPECT_EQ(stream_.read(&byte, 0), 0U);
  EXPECT_EQ(stream_.read(nullptr, 1), 0U);
  EXPECT_EQ(files_.reads, 0) << "none of these reaches the host";

  K2RIOStream missing(&files_, test::modulePath(directory_.path() / "no" / "such"), true);
  missing.open();
  EXPECT_EQ(missing.write("x", 1), 0U);
}

TEST(FileNames, FollowTheLastNameOfTheStreamPath) {
  const std::pair<const char*, const char*> pathsAndStems[] = {
      {"\\var\\rec\\live\\cam1", "\\var\\rec\\live\\cam1\\cam1"},
      {"cam1", "cam1\\"},
      {"/var/rec/cam1", "/var/rec/cam1\\"},
      {"\\rec\\cam1\\", "\\rec\\cam1\\\\"},
      {"", "\\"}};
  for (const auto& [path, stem] : pathsAndStems) EXPECT_EQ(makeBasePath(path), stem) << path;
  EXPECT_EQ(formatSegmentName("b", 4294967295U, ".k2i"), "bSeg4294967295.k2i");
}

}  // namespace
}  // namespace qvs::k2r
