// Sizes at their edges, through the module: a day of fragments in one segment, times up to 2^32, files beyond 4 GiB.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "host/files/smallFiles.h"
#include "tests/durability/continuing.h"
#include "tests/module/loadModule.h"
#include "util/bytes.h"

namespace {

using namespace test;

constexpr std::uint32_t kGridMs = 4000;
/// The last grid line below 2^32 milliseconds.
constexpr std::uint32_t kLastLine = 4294964000U;

StreamBuilder video() {
  return stream().keyFramesEvery(kGridMs).framesEvery(1000);
}

TEST(Sizes, ADayOfNumbersUpToTheEndOfTimeIsContinued) {
  constexpr std::uint32_t kNumbers = 21600;
  constexpr std::uint32_t kStart = kLastLine - kNumbers * kGridMs;
  Recorder recorder(loadModule());
  recordAndCrash(recorder, video().from(kStart).until(kStart + 4 * kGridMs + 1));
  // Most of the day is passed over, so that each number has its entry.
  for (const std::uint32_t from : {kLastLine - 8 * kGridMs, kLastLine - 3 * kGridMs}) {
    const std::uint32_t end = from + 3 * kGridMs;
    appendAndStop(recorder, video().from(from).withoutHeaders().until(end) + std::vector{avcFrame(end, true, 50, 1)});
  }
  expectWhole(recorder);
  const auto index = host::parseAfra(qvs::util::asBytes(recorder.content("Seg1.k2i")));
  EXPECT_EQ(index.globalEntries.size(), kNumbers);
  EXPECT_EQ(index.globalEntries.back().fragment, kLastLine / kGridMs);
  EXPECT_TRUE(index.globalEntries.back().isWritten());
}

TEST(Sizes, ASegmentThatEndsBeyond4GiBIsContinued) {
  Recorder recorder(loadModule());
  recordAndCrash(recorder, video().until(2 * kGridMs + 1));
  // The last fragment moves behind a hole of 5 GiB, which a `free` box covers.
  constexpr std::uint64_t kHole = std::uint64_t{5} << 30;
  auto index = host::parseAfra(qvs::util::asBytes(recorder.content("Seg1.k2i")));
  auto& last = index.globalEntries.back();
  const std::string segment = recorder.content("Seg1.k2r");
  const std::string fragment = segment.substr(last.afraOffset);
  qvs::util::ByteWriter cover;
  cover.u32(1);
  cover.u32(0x66726565);  // free
  cover.u64(kHole);
  std::filesystem::resize_file(recorder.file("Seg1.k2r"), last.afraOffset + kHole);
  {
    std::fstream file(recorder.file("Seg1.k2r"), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(last.afraOffset));
    file << textOf(cover.take());
    last.afraOffset += kHole;
    file.seekp(static_cast<std::streamoff>(last.afraOffset));
    file << fragment;
    ASSERT_TRUE(file.flush());
  }
  writeWholeFile(recorder.file("Seg1.k2i"), textOf(host::imageOf(index)));
  const std::uint64_t end = std::filesystem::file_size(recorder.file("Seg1.k2r"));

  appendAndStop(recorder, video().from(5 * kGridMs).withoutHeaders().until(7 * kGridMs + 1));
  const auto after = host::parseAfra(qvs::util::asBytes(recorder.content("Seg1.k2i")));
  EXPECT_EQ(after.globalEntries.back().fragment, 7U);
  EXPECT_EQ(after.globalEntries.at(1).afraOffset, last.afraOffset);
  const auto first = std::find_if(after.globalEntries.begin() + 2, after.globalEntries.end(),
                                  [](const auto& entry) { return entry.isWritten(); });
  ASSERT_NE(first, after.globalEntries.end());
  EXPECT_EQ(first->afraOffset, end) << "right behind the last fragment";
}

}  // namespace
