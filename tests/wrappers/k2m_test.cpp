// What is between us and the libraries: call backs on streams and warnings, dates, and the entries with what their
// wrappers never give them.

#include <new>

#include "tests/support/SegmentMaker.h"
#include "tests/support/testing.h"
#include "util/fourcc.h"
#include "wrappers/mtg/Exception.h"
#include "wrappers/mtg/InputStream.h"

namespace krvo::k2m {
namespace {

using qvs::util::operator""_4cc;
using test::MemoryStream;

/// Notes the operations that are called, each of which throws whatever it is set to.
template <typename Stream, typename Count, typename Position>
struct Noting : Stream {
  void addReference() override { note("addReference"); }
  void release() override { note("release"); }
  void open() override { note("open"); }
  void close() override { note("close"); }
  Count read(void*, Count) override { return note("read"); }
  void seek(std::int64_t, std::uint32_t) override { note("seek"); }
  Position tell() override { return note("tell"); }

  std::uint8_t note(const char* operation) {
    operations += operation + std::string(" ");
    raise();
    return 0;
  }

  std::string operations;
  void (*raise)() = nullptr;
};

struct NotingStream final : Noting<IOStream, std::uint64_t, std::uint64_t> {
  std::uint64_t write(const void*, std::uint64_t) override { return note("write"); }
  void flush() override { note("flush"); }
};

/// Calls all call backs of a stream, which are to reach their operations in this order.
template <typename LibraryException, typename CallAll>
void expectStatuses(auto& stream, const CallAll& callAll, const std::string& operations) {
  const std::pair<void (*)(), std::uint32_t> raisesAndStatuses[] = {{[] {}, 0},
                                                                    {[] { throw LibraryException(1234); }, 1234},
                                                                    {[] { throw std::bad_alloc(); }, 18},
                                                                    {[] { throw std::runtime_error(""); }, 19},
                                                                    {[] { throw 1; }, 1}};
  for (const auto& [raise, status] : raisesAndStatuses) {
    stream.raise = raise;
    stream.operations.clear();
    for (const std::uint32_t answer : callAll()) EXPECT_EQ(answer, status);
    EXPECT_EQ(stream.operations, operations);
  }
}

TEST(StreamCallBacks, ReachTheirOperationAndTurnExceptionsIntoStatuses) {
  NotingStream stream;
  const auto table = makeCallBacks(stream);
  std::uint64_t done = 0;
  const auto callAll = [&t = table, of = table.context, &done] {
    return std::vector{t.addReference(of),
                       t.release(of),
                       t.open(of),
                       t.close(of),
                       t.read(of, nullptr, 1, &done),
                       t.seek(of, 0, 0),
                       t.tell(of, &done),
                       t.write(of, nullptr, 1, &done),
                       t.flush(of)};
  };
  expectStatuses<Exception>(stream, callAll, "addReference release open close read seek tell write flush ");
}

TEST(TagStreamCallBacks, ReachTheirOperationAndTurnExceptionsIntoStatuses) {
  Noting<mtg::InputStream, std::uint32_t, std::int64_t> stream;
  KrvoMTGInputStreamCallBacks table{};
  stream.fill(table);
  std::uint32_t done = 0;
  std::int64_t position = 0;
  const auto callAll = [&t = table, of = table.context, &done, &position] {
    return std::vector{t.addReference(of), t.release(of),         t.read(of, nullptr, 0, &done),
                       t.seek(of, 0, 0),   t.tell(of, &position), t.open(of),
                       t.close(of)};
  };
  expectStatuses<mtg::Exception>(stream, callAll, "addReference release read seek tell open close ");
}

TEST(WarningCallBacks, PassTheResultOn) {
  struct : WarningHandler {
    std::uint32_t warning(std::uint32_t code) override { return code == 0 ? throw Exception(55) : code; }
  } handler;
  const auto table = makeCallBacks(handler);
  std::uint32_t answer = 9;
  EXPECT_EQ(table.warning(table.context, 3, &answer), 0U);
  EXPECT_EQ(answer, 3U);
  EXPECT_EQ(table.warning(table.context, 0, &answer), 55U);
}

TEST(Dates, AreTakenFromUtc) {
  using namespace std::chrono;
  const K2MDate date = makeDate(sys_days(year(2024) / 2 / 29) + 23h + 58min + 7s);
  EXPECT_EQ(test::hex(std::as_bytes(std::span(&date, 1))), "081d0200 e807173a 0700");
  EXPECT_EQ(makeDate(sys_days(year(1904) / 1 / 1)).year, 1904);
  for (const sys_seconds wrong : {sys_days(year(1904) / 1 / 1) - 1s, sys_days(year(10000) / 1 / 1) + 0s})
    EXPECT_EQ(test::statusOf([wrong] { makeDate(wrong); }), 20U);
  EXPECT_GE(dateNow().year, 2024);
}

TEST(K2RWriter, PassesAFlushOnAndLeavesTheStreamReleasedWhereItThrows) {
  MemoryStream stream;
  test::SegmentMaker(stream).writer().k2mWriter().flush();
  EXPECT_EQ(stream.flushes, 1);
  auto info = test::documentInfo();
  info.created.month = 13;
  EXPECT_EQ(test::statusOf([&] { K2RWriter(stream, info, Allocator()); }), kKrvoBadDate);
  EXPECT_EQ(stream.references, 0);
}

TEST(Entries, GiveBackABufferWhateverElseIsWrong) {
  int released = 0;
  auto buffer = makeDataBuffer("bytes", &released, [](void* count) { ++*static_cast<int*>(count); });
  KrvoK2MSampleDescriptor* descriptor = nullptr;
  KrvoK2RWriterAddABST(nullptr, &buffer, 5);
  KrvoK2RWriterAddHintSample(nullptr, nullptr, nullptr, &buffer, nullptr, nullptr, 0);
  KrvoK2RWriterAddSampleWithAfra(nullptr, nullptr, &buffer, nullptr, 0);
  KrvoK2MWriterAddVideoSampleDescriptor(nullptr, nullptr, nullptr, &buffer, &descriptor);
  EXPECT_EQ(released, 4);
  buffer.size = 31;
  KrvoK2RWriterAddABST(nullptr, &buffer, 5);
  EXPECT_EQ(released, 4) << "what follows a wrong size means nothing";
}

}  // namespace
}  // namespace krvo::k2m
