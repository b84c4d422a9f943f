// Streams, warnings and memory as the container library sees them.

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "tests/support/MemoryStream.h"
#include "tests/support/hex.h"
#include "wrappers/k2m/Writer.h"

namespace krvo::k2m {
namespace {

/// Throws whatever it is told to, from every operation.
class ThrowingStream final : public IOStream {
 public:
  void addReference() override { fail(); }
  void release() override { fail(); }
  void open() override { fail(); }
  void close() override { fail(); }
  std::uint64_t read(void*, std::uint64_t) override { return fail(); }
  void seek(std::int64_t, std::uint32_t) override { fail(); }
  std::uint64_t tell() override { return fail(); }
  std::uint64_t write(const void*, std::uint64_t) override { return fail(); }
  void flush() override { fail(); }

  void (*raise)() = nullptr;

 private:
  std::uint64_t fail() {
    raise();
    return 0;
  }
};

TEST(StreamCallBacks, TurnExceptionsIntoStatuses) {
  const struct {
    void (*raise)();
    KrvoStatus status;
  } rows[] = {{[] {}, 0},
              {[] { throw Exception(1234); }, 1234},
              {[] { throw std::bad_alloc(); }, 18},
              {[] { throw std::runtime_error(""); }, 19},
              {[] { throw 1; }, 1}};
  ThrowingStream stream;
  const auto table = makeCallBacks(stream);
  std::uint64_t done = 0;
  std::byte bytes[1];
  for (const auto& row : rows) {
    stream.raise = row.raise;
    EXPECT_EQ(table.addReference(table.context), row.status);
    EXPECT_EQ(table.release(table.context), row.status);
    EXPECT_EQ(table.open(table.context), row.status);
    EXPECT_EQ(table.close(table.context), row.status);
    EXPECT_EQ(table.read(table.context, bytes, 1, &done), row.status);
    EXPECT_EQ(table.seek(table.context, 0, 0), row.status);
    EXPECT_EQ(table.tell(table.context, &done), row.status);
    EXPECT_EQ(table.write(table.context, bytes, 1, &done), row.status);
    EXPECT_EQ(table.flush(table.context), row.status);
  }
}

TEST(StreamCallBacks, ReachTheirOwnOperation) {
  test::MemoryStream stream;
  const auto table = makeCallBacks(stream);
  EXPECT_EQ(table.size, sizeof(table));
  EXPECT_EQ(table.addReference(table.context), 0U);
  EXPECT_EQ(stream.references, 1);
  EXPECT_EQ(table.open(table.context), 0U);
  EXPECT_TRUE(stream.isOpen);
  std::uint64_t done = 0;
  EXPECT_EQ(table.write(table.context, "abcdef", 6, &done), 0U);
  EXPECT_EQ(done, 6U);
  EXPECT_EQ(table.seek(table.context, -4, 2), 0U);
  EXPECT_EQ(table.tell(table.context, &done), 0U);
  EXPECT_EQ(done, 2U);
  char read[3];
  EXPECT_EQ(table.read(table.context, read, 3, &done), 0U);
  EXPECT_EQ(std::string(read, done), "cde");
  EXPECT_EQ(table.flush(table.context), 0U);
  EXPECT_EQ(stream.flushes, 1);
  EXPECT_EQ(table.release(table.context), 0U);
  EXPECT_FALSE(stream.isOpen);
  stream.open();
  EXPECT_EQ(table.close(table.context), 0U);
  EXPECT_FALSE(stream.isOpen);
}

class Answering final : public WarningHandler {
 public:
  std::uint32_t warning(std::uint32_t code) override {
    if (code == 0) throw Exception(55);
    return code % 2;
  }
};

TEST(WarningCallBacks, PassTheAnswerOn) {
  Answering handler;
  const auto table = makeCallBacks(handler);
  std::uint32_t answer = 9;
  EXPECT_EQ(table.warning(table.context, 3, &answer), 0U);
  EXPECT_EQ(answer, 1U);
  EXPECT_EQ(table.warning(table.context, 4, &answer), 0U);
  EXPECT_EQ(answer, 0U);
  EXPECT_EQ(table.warning(table.context, 0, &answer), 55U);
}

TEST(Allocator, GivesAndTakesBlocks) {
  const Allocator allocator;
  const auto& table = allocator.callBacks();
  void* const block = table.alloc(table.context, 100);
  ASSERT_NE(block, nullptr);
  table.free(table.context, block);
  table.free(table.context, nullptr);
}

TEST(Records, HaveTheirSizes) {
  EXPECT_EQ(makeRecord<K2MDocInfo>().size, 48U);
  EXPECT_EQ(makeRecord<K2MTrackInfo>().size, 72U);
  EXPECT_EQ(makeRecord<K2MEntriesInfo>().size, 16U);
  EXPECT_EQ(makeRecord<K2MSampleInfo>().size, 32U);
  EXPECT_EQ(makeRecord<K2MHintInfo>().sample.size, 32U);
  EXPECT_EQ(makeRecord<K2MDescriptorInfo>().size, 16U);
  EXPECT_EQ(makeRecord<K2MVideoDescriptorInfo>().base.size, sizeof(K2MVideoDescriptorInfo));
  EXPECT_EQ(makeDataBuffer("x").size, 32U);
}

TEST(Dates, AreTakenFromUtc) {
  using namespace std::chrono;
  const K2MDate date = makeDate(sys_days(year(2024) / 2 / 29) + 23h + 58min + 7s);
  EXPECT_EQ(test::hex(std::as_bytes(std::span(&date, 1))), "081d0200 e807173a 0700");
  EXPECT_EQ(makeDate(sys_days(year(1904) / 1 / 1)).year, 1904);
  for (const sys_seconds wrong :
       {sys_seconds(sys_days(year(1904) / 1 / 1)) - 1s, sys_seconds(sys_days(year(10000) / 1 / 1))}) {
    try {
      makeDate(wrong);
      ADD_FAILURE();
    } catch (const Exception& error) {
      EXPECT_EQ(error.status(), 20U);
    }
  }
  EXPECT_GE(dateNow().year, 2024);
}

}  // namespace
}  // namespace krvo::k2m
