// Streams and warnings as the container library sees them.

#include <gmock/gmock.h>
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
    for (const KrvoStatus status :
         {table.addReference(table.context), table.release(table.context), table.open(table.context),
          table.close(table.context), table.read(table.context, bytes, 1, &done), table.seek(table.context, 0, 0),
          table.tell(table.context, &done), table.write(table.context, bytes, 1, &done), table.flush(table.context)}) {
      EXPECT_EQ(status, row.status);
    }
  }
}

TEST(StreamCallBacks, ReachTheirOwnOperation) {
  test::MemoryStream stream;
  const auto table = makeCallBacks(stream);
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

TEST(WarningCallBacks, PassTheAnswerOn) {
  struct : WarningHandler {
    std::uint32_t warning(std::uint32_t code) override { return code == 0 ? throw Exception(55) : code % 2; }
  } handler;
  const auto table = makeCallBacks(handler);
  std::uint32_t answer = 9;
  EXPECT_EQ(table.warning(table.context, 3, &answer), 0U);
  EXPECT_EQ(answer, 1U);
  EXPECT_EQ(table.warning(table.context, 4, &answer), 0U);
  EXPECT_EQ(answer, 0U);
  EXPECT_EQ(table.warning(table.context, 0, &answer), 55U);
}

TEST(Dates, AreTakenFromUtc) {
  using namespace std::chrono;
  const K2MDate date = makeDate(sys_days(year(2024) / 2 / 29) + 23h + 58min + 7s);
  EXPECT_EQ(test::hex(std::as_bytes(std::span(&date, 1))), "081d0200 e807173a 0700");
  EXPECT_EQ(makeDate(sys_days(year(1904) / 1 / 1)).year, 1904);
  for (const sys_seconds wrong :
       {sys_seconds(sys_days(year(1904) / 1 / 1)) - 1s, sys_seconds(sys_days(year(10000) / 1 / 1))}) {
    EXPECT_THAT([wrong] { makeDate(wrong); }, testing::Throws<Exception>(testing::Property(&Exception::status, 20U)));
  }
  EXPECT_GE(dateNow().year, 2024);
}

}  // namespace
}  // namespace krvo::k2m
