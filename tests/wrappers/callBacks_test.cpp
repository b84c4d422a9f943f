// Streams and warnings as the libraries see them, and dates.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/hex.h"
#include "wrappers/k2m/Writer.h"
#include "wrappers/mtg/Exception.h"
#include "wrappers/mtg/InputStream.h"

namespace krvo::k2m {
namespace {

/// Notes the operations that are called, each of which throws whatever it is told to.
struct Noting {
  int note(const char* operation) {
    operations += operation + std::string(" ");
    raise();
    return 0;
  }

  std::string operations;
  void (*raise)() = nullptr;
};

struct NotingStream final : IOStream, Noting {
  void addReference() override { note("addReference"); }
  void release() override { note("release"); }
  void open() override { note("open"); }
  void close() override { note("close"); }
  std::uint64_t read(void*, std::uint64_t) override { return static_cast<std::uint64_t>(note("read")); }
  void seek(std::int64_t, std::uint32_t) override { note("seek"); }
  std::uint64_t tell() override { return static_cast<std::uint64_t>(note("tell")); }
  std::uint64_t write(const void*, std::uint64_t) override { return static_cast<std::uint64_t>(note("write")); }
  void flush() override { note("flush"); }
};

struct NotingInput final : mtg::InputStream, Noting {
  void addReference() override { note("addReference"); }
  void release() override { note("release"); }
  std::uint32_t read(void*, std::uint32_t) override { return static_cast<std::uint32_t>(note("read")); }
  void seek(std::int64_t, std::uint32_t) override { note("seek"); }
  std::int64_t tell() override { return note("tell"); }
  void open() override { note("open"); }
  void close() override { note("close"); }
};

/// `callAll` answers the statuses of all call backs, which are to reach these operations in this order.
template <typename LibraryException, typename CallAll>
void expectStatuses(Noting& stream, const CallAll& callAll, const std::string& operations) {
  const struct {
    void (*raise)();
    std::uint32_t status;
  } rows[] = {{[] {}, 0},
              {[] { throw LibraryException(1234); }, 1234},
              {[] { throw std::bad_alloc(); }, 18},
              {[] { throw std::runtime_error(""); }, 19},
              {[] { throw 1; }, 1}};
  for (const auto& row : rows) {
    stream.raise = row.raise;
    stream.operations.clear();
    for (const std::uint32_t status : callAll()) EXPECT_EQ(status, row.status);
    EXPECT_EQ(stream.operations, operations);
  }
}

TEST(StreamCallBacks, ReachTheirOperationAndTurnExceptionsIntoStatuses) {
  NotingStream stream;
  const auto table = makeCallBacks(stream);
  std::uint64_t done = 0;
  std::byte bytes[1];
  const auto callAll = [&] {
    return std::vector{table.addReference(table.context),
                       table.release(table.context),
                       table.open(table.context),
                       table.close(table.context),
                       table.read(table.context, bytes, 1, &done),
                       table.seek(table.context, 0, 0),
                       table.tell(table.context, &done),
                       table.write(table.context, bytes, 1, &done),
                       table.flush(table.context)};
  };
  expectStatuses<Exception>(stream, callAll, "addReference release open close read seek tell write flush ");
}

TEST(TagStreamCallBacks, ReachTheirOperationAndTurnExceptionsIntoStatuses) {
  NotingInput stream;
  KrvoMTGInputStreamCallBacks table{};
  stream.fill(table);
  std::uint32_t done = 0;
  std::int64_t position = 0;
  const auto callAll = [&] {
    return std::vector{table.addReference(table.context),
                       table.release(table.context),
                       table.read(table.context, nullptr, 0, &done),
                       table.seek(table.context, 0, 0),
                       table.tell(table.context, &position),
                       table.open(table.context),
                       table.close(table.context)};
  };
  expectStatuses<mtg::Exception>(stream, callAll, "addReference release read seek tell open close ");
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
