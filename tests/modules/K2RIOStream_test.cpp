#include "modules/streams/k2r/K2RIOStream.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

/// Tells what reaches the host.
class CountingFiles : public test::DiskFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    flagsSeen = flags;
    modeSeen = mode;
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
  std::uint32_t modeSeen = 0;
  int closes = 0;
  int reads = 0;
};

class SegmentStream : public testing::Test {
 protected:
  SegmentStream() { test::writeWholeFile(path_, "0123456789"); }
  K2RIOStream makeStream(bool append) { return {&files_, test::modulePath(path_), append}; }
  std::string content() const { return test::readWholeFile(path_); }

  test::TempDirectory directory_;
  std::string path_ = directory_.file("cam1Seg1.k2r");
  CountingFiles files_;
};

TEST_F(SegmentStream, CutsAStaleFileToZeroUnlessItAppends) {
  {
    K2RIOStream kept = makeStream(true);
    kept.open();
    EXPECT_EQ(files_.flagsSeen, 0x8102U);
    EXPECT_EQ(files_.modeSeen, 0x180U);
    kept.seek(0, 2);
    EXPECT_EQ(kept.tell(), 10U);
  }
  EXPECT_EQ(content(), "0123456789");
  K2RIOStream fresh = makeStream(false);
  fresh.open();
  EXPECT_EQ(files_.flagsSeen, 0x8302U);
  fresh.seek(0, 2);
  EXPECT_EQ(fresh.tell(), 0U);
}

TEST_F(SegmentStream, ReadsAndWritesAtItsPosition) {
  K2RIOStream stream = makeStream(true);
  stream.open();
  stream.seek(8, 0);
  char bytes[4] = {};
  EXPECT_EQ(stream.read(bytes, 4), 2U);
  EXPECT_EQ(std::string(bytes), "89");
  EXPECT_EQ(stream.tell(), 10U);
  EXPECT_EQ(stream.read(bytes, 4), 0U) << "at the end";
  stream.seek(-7, 1);
  EXPECT_EQ(stream.write("abc", 3), 3U);
  stream.seek(0, 2);
  EXPECT_EQ(stream.tell(), 10U) << "a write inside the file keeps its size";
  EXPECT_EQ(stream.write("xy", 2), 2U);
  stream.seek(0, 2);
  EXPECT_EQ(stream.tell(), 12U);
  stream.close();
  EXPECT_EQ(content(), "012abc6789xy");
}

TEST_F(SegmentStream, RefusesAnUnknownSeekMode) {
  K2RIOStream stream = makeStream(true);
  try {
    stream.seek(0, 3);
    FAIL() << "no exception";
  } catch (const QVSException& failure) {
    EXPECT_EQ(failure.message(), "Invalid Mode for krvo::k2m::IOStream::Seek()");
  }
}

TEST_F(SegmentStream, ClosesOnceWithItsLastReference) {
  K2RIOStream stream = makeStream(true);
  stream.addReference();
  stream.addReference();
  stream.open();
  stream.release();
  EXPECT_EQ(files_.closes, 0);
  stream.release();
  EXPECT_EQ(files_.closes, 1);
  stream.release();
  EXPECT_EQ(files_.closes, 1);
}

TEST_F(SegmentStream, AnswersNothingWhereThereIsNothing) {
  K2RIOStream stream = makeStream(true);
  char byte = 0;
  EXPECT_EQ(stream.read(&byte, 1), 0U) << "closed";
  EXPECT_EQ(stream.write(&byte, 1), 0U) << "closed";
  stream.open();
  EXPECT_EQ(stream.read(&byte, 0), 0U);
  EXPECT_EQ(stream.read(nullptr, 1), 0U);
  EXPECT_EQ(files_.reads, 0) << "none of these reaches the host";

  K2RIOStream missing(&files_, test::modulePath(directory_.path() / "no" / "such"), true);
  missing.open();
  EXPECT_EQ(missing.write("x", 1), 0U);
}

}  // namespace
}  // namespace qvs::k2r
