// Parts of the adaptor: segment files, their names, and how it reads its own settings.

#include "modules/streams/k2r/K2RIOStream.h"
#include "modules/streams/k2r/k2rAdaptor.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

/// Notes what reaches the host.
class CountingFiles : public test::DiskFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    EXPECT_EQ(mode, 0x180U) << "the owner reads and writes";
    flagsSeen = flags;
    return DiskFileContext::open(path, flags, mode, share);
  }
  CountingFiles() {
    permits = [this](std::string_view operation) {
      closes += operation == "close" ? 1U : 0U;
      return operation != "fileStatus" || !statusFails;
    };
  }
  bool statusFails = false;
  std::uint32_t flagsSeen = 0, closes = 0;
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

TEST_F(SegmentStream, ClosesOnceWithItsLastReferenceAndCanBeOpenedAgain) {
  stream_.addReference();
  stream_.addReference();
  stream_.open();
  stream_.seek(4, 0);
  stream_.release();
  EXPECT_EQ(files_.closes, 0U);
  stream_.release();
  stream_.close();
  EXPECT_EQ(files_.closes, 1U);
  files_.statusFails = true;
  stream_.open();
  EXPECT_EQ(stream_.tell(), 0U);
  EXPECT_EQ(stream_.write("ab", 2), 2U);
  EXPECT_EQ(sizeOf(stream_), 2U) << "as far as it is known without a status";
}

class AdaptorConfig : public testing::Test {
 protected:
  test::TestHost host_{nullptr};
  k2rAdaptor adaptor_{&host_};
};

TEST_F(AdaptorConfig, ChangesABoolOnTheExactTextOnly) {
  for (const auto& [text, before, after] :
       {std::tuple("true", false, true), {"True", false, false}, {"false", true, false}}) {
    host_.settings["key"] = text;
    bool value = before;
    EXPECT_TRUE(adaptor_.readConfigBool("key", value)) << text;
    EXPECT_EQ(value, after) << text;
  }
}

TEST_F(AdaptorConfig, KeepsNumbersWithinTheirBounds) {
  constexpr std::uint32_t kMost = 0xFFFFFFFF, kUnchanged = 99;
  using Row = std::tuple<std::string, std::uint32_t, std::uint32_t, std::uint32_t>;
  for (const auto& [text, minimum, maximum, expected] :
       {Row{"-5", 0, 10, 0}, Row{"-5", 1, 10, kUnchanged}, Row{"11", 0, 10, kUnchanged}, Row{"12abc", 0, 20, 12},
        Row{std::string(500, ' ') + "42", 0, 100, 42}, Row{"4294967295", 0, kMost, kMost},
        Row{"4294967296", 0, kMost, kUnchanged}, Row{"99999999999999999999999", 0, kMost, kUnchanged}}) {
    host_.settings["key"] = text;
    std::uint32_t value = kUnchanged;
    EXPECT_TRUE(adaptor_.readConfigUnsigned("key", value, minimum, maximum)) << text;
    EXPECT_EQ(value, expected) << text;
  }
}

}  // namespace
}  // namespace qvs::k2r
