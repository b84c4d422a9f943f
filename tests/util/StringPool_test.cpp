// The pool of texts that strings share.

#include "util/StringPool.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "tests/support/testing.h"
#include "util/NQString.h"

namespace qvs::util {
namespace {

using namespace std::string_view_literals;

TEST(StringPool, SharesTextsUpToItsLength) {
  StringPool pool(8);
  const auto shared = pool.intern("12345678"sv);
  const auto longer = pool.intern("123456789"sv);
  EXPECT_EQ(shared, pool.intern(std::string_view(std::string("12345678"))));
  EXPECT_EQ(shared.view(), "12345678");
  EXPECT_TRUE(longer.isPrivate() && !shared.isPrivate());
  pool.release(longer);
  EXPECT_TRUE(pool.intern(""sv).isEmptyString());
  EXPECT_NE(pool.intern(u"a\u0162"sv), pool.intern(u"ab"sv)) << "all bytes of a unit count";
  EXPECT_NE(pool.intern("a\0"sv), pool.intern("a\1"sv)) << "nor does a zero end the text";
}

TEST(StringPool, KeepsAnUnusedTextUntilTheSweep) {
  StringPool pool(8);
  const auto first = pool.intern("abc"sv);
  pool.release(first);
  EXPECT_EQ(pool.intern("abc"sv), first);
  EXPECT_EQ(pool.sweep(), 0U) << "in use again";
  const auto wide = pool.intern(u"12345"sv);
  pool.release(first);
  EXPECT_EQ(pool.sweep(), 3U);
  pool.release(wide);
  EXPECT_EQ(pool.sweep(), 5U);
  EXPECT_NE(pool.intern("abd"sv), pool.intern("abe"sv));
  const auto statistics = pool.statistics<char>(3);
  EXPECT_EQ(std::tuple(statistics.hits, statistics.misses, statistics.internedChars), std::tuple(1U, 3U, 9U));
}

constexpr auto bytesOfHeap = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };

TEST(StringPool, TakesMemoryForTheLengthsThatCame) {
  const std::string longest(0xFFFFFF, 'x');
  const std::size_t before = bytesOfHeap();
  StringPool pool(0xFFFFFF);
  const auto block = pool.intern(std::string_view(longest));
  EXPECT_LT(bytesOfHeap(), before + 0xFFFFFF + 500000);
  EXPECT_FALSE(block.isPrivate());
  pool.release(block);
  EXPECT_EQ(pool.sweep(), 0xFFFFFFU);
}

TEST(StringPool, NeverWritesASharedBlock) {
  StringPool pool(64);
  const auto shared = pool.intern("abc"sv);
  auto assigned = pool.intern("abc"sv), appended = pool.intern("abc"sv), written = pool.intern("abc"sv);
  pool.assign(assigned, "xy"sv);
  pool.append(appended, "d"sv);
  pool.makePrivate(written);
  written.text()[0] = 'X';
  EXPECT_EQ(shared.view(), "abc");
  EXPECT_EQ(assigned, pool.intern("xy"sv));
  EXPECT_EQ(appended.view(), "abcd");
  EXPECT_EQ(written.view(), "Xbc");
  for (const auto block : {appended, written, shared}) pool.release(block);
  EXPECT_EQ(pool.sweep(), 3U) << "the other three gave their use back";
}

TEST(StringPool, ReadsItsLengthFromASetting) {
  const std::pair<const char*, std::int32_t> rows[] = {{nullptr, 0},  {"", 0},   {"8", 8},
                                                       {" 012x", 12}, {"-1", 0}, {"99999999999999999999", 0xFFFFFF}};
  for (const auto& [setting, length] : rows)
    EXPECT_EQ(StringPool::maxPooledLengthFrom(setting), length) << (setting ? setting : "(null)");
}

/// Runs in a process of its own, since the pool of a process is made once.
void useStringsWithSetting() {
  setenv("QVS_STRING_POOL", "8", 1);
  const NQNarrowString a("12345678"), b(a), longer("123456789");
  const NQString c(u"12345678"), d(c);
  std::exit(a.c_str() == b.c_str() && c.c_str() == d.c_str() && longer.isPrivate() ? 8 : 0);
}

TEST(StringPoolDeathTest, TakesTheSettingOfTheEnvironment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(useStringsWithSetting(), testing::ExitedWithCode(8), "");
}

TEST(StringPool, ServesManyThreadsAtOnce) {
  constexpr int kRounds = 3000;
  StringPool pool(4);
  std::atomic<int> wrong = 0, working = 3;
  const auto work = [&] {
    for (int round = 0; round < kRounds; ++round) {
      const std::string text = std::to_string(round % 300);
      const auto shared = pool.intern(std::string_view(text));
      auto copy = pool.intern(shared.view());
      if (copy != shared) ++wrong;
      pool.append(copy, "!"sv);
      if (copy.view() != text + "!") ++wrong;
      for (const auto block : {copy, shared}) pool.release(block);
    }
    --working;
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(work);
  while (working > 0) pool.sweep();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  pool.sweep();
  const auto statistics = pool.statistics<char>(3);
  EXPECT_EQ(statistics.hits + statistics.misses, 3U * kRounds * 2 * 200 / 300);
  EXPECT_EQ(pool.sweep(), 0U) << "no use was lost";
}

}  // namespace
}  // namespace qvs::util
