#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/NQString.h"
#include "util/StringPool.h"

namespace qvs::util {
namespace {

using namespace std::string_view_literals;

TEST(StringPool, SharesTextsUpToItsLength) {
  StringPool pool(8);
  auto a = pool.intern("12345678"sv);
  auto b = pool.intern(std::string_view(std::string("12345678")));
  auto c = pool.intern("123456789"sv);
  auto d = pool.intern("123456789"sv);
  EXPECT_EQ(a, b);
  EXPECT_FALSE(a.isPrivate());
  EXPECT_EQ(a.view(), "12345678");
  EXPECT_NE(c, d);
  EXPECT_TRUE(c.isPrivate());
  for (auto block : {a, b, c, d}) pool.release(block);
}

TEST(StringPool, KeepsWidthsApartAndComparesWholeTexts) {
  StringPool pool(8);
  const auto narrow = pool.intern("ab"sv);
  const auto wide = pool.intern(u"ab"sv);
  EXPECT_NE(static_cast<const void*>(narrow.text()), static_cast<const void*>(wide.text()));
  EXPECT_NE(pool.intern(u"a\u0162"sv), wide);
  EXPECT_NE(pool.intern("a\0"sv), pool.intern("a\1"sv));
}

TEST(StringPool, OfLengthZeroSharesTheEmptyStringOnly) {
  StringPool pool(0);
  EXPECT_TRUE(pool.intern(""sv).isEmptyString());
  const auto one = pool.intern("a"sv);
  EXPECT_TRUE(one.isPrivate());
  pool.release(one);
  EXPECT_EQ(pool.sweep(), 0U);
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
  EXPECT_EQ(pool.sweep(), 0U);
}

TEST(StringPool, CountsItsLookups) {
  StringPool pool(8);
  for (const auto text : {"aa"sv, "bb"sv, "aa"sv, "aa"sv, "ccc"sv}) pool.intern(text);
  const auto two = pool.statistics<char>(2);
  EXPECT_EQ(two.misses, 2U);
  EXPECT_EQ(two.hits, 2U);
  EXPECT_EQ(two.internedChars, 4U);
  EXPECT_EQ(pool.statistics<char16_t>(2).misses, 0U);
}

TEST(StringPool, NeverWritesASharedBlock) {
  StringPool pool(64);
  const auto shared = pool.intern("abc"sv);
  auto assigned = pool.intern("abc"sv);
  auto appended = pool.intern("abc"sv);
  auto written = pool.intern("abc"sv);
  pool.assign(assigned, "xy"sv);
  pool.append(appended, "d"sv);
  pool.makePrivate(written);
  written.text()[0] = 'X';
  EXPECT_EQ(shared.view(), "abc");
  EXPECT_EQ(assigned, pool.intern("xy"sv));
  EXPECT_EQ(appended.view(), "abcd");
  EXPECT_TRUE(appended.isPrivate());
  EXPECT_EQ(written.view(), "Xbc");
  pool.release(appended);
  pool.release(written);
  pool.release(shared);
  EXPECT_EQ(pool.sweep(), 3U) << "the other three gave their use back";
}

TEST(StringPool, ReadsItsLengthFromASetting) {
  const struct {
    const char* setting;
    std::int32_t length;
  } rows[] = {{nullptr, 0}, {"", 0},   {"8", 8}, {" 12x", 12},
              {"x", 0},     {"-1", 0}, {"0", 0}, {"99999999999999999999", 0xFFFFFF}};
  for (const auto& row : rows) {
    EXPECT_EQ(StringPool::maxPooledLengthFrom(row.setting), row.length) << (row.setting ? row.setting : "(null)");
  }
}

/// Runs in a process of its own, since the pool of a process is made once.
void useStringsWithSetting(const char* setting) {
  setenv("QVS_STRING_POOL", setting, 1);
  const NQNarrowString a("12345678");
  const NQNarrowString b("12345678");
  const NQNarrowString c("123456789");
  const NQString d(u"12345678");
  const NQString e(d);
  const bool shares = a.c_str() == b.c_str() && d.c_str() == e.c_str() && c.isPrivate();
  std::exit(shares ? 8 : 0);
}

TEST(StringPoolDeathTest, TakesTheSettingOfTheEnvironment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(useStringsWithSetting("8"), testing::ExitedWithCode(8), "");
  EXPECT_EXIT(useStringsWithSetting("-1"), testing::ExitedWithCode(0), "");
}

TEST(StringPool, ServesManyThreadsAtOnce) {
  StringPool pool(4);
  std::atomic<bool> isDone = false;
  std::thread sweeper([&] {
    while (!isDone) pool.sweep();
  });
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&] {
      for (int round = 0; round < 3000; ++round) {
        const std::string text = std::to_string(round % 300);
        auto shared = pool.intern(std::string_view(text));
        auto copy = pool.intern(shared.view());
        auto wide = pool.intern(std::u16string_view(std::u16string(text.begin(), text.end())));
        if (copy != shared || copy.view() != text || wide.length() != text.size()) ++wrong;
        pool.append(copy, "!"sv);
        if (copy.view() != text + "!") ++wrong;
        pool.release(copy);
        pool.release(shared);
        pool.release(wide);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  isDone = true;
  sweeper.join();
  EXPECT_EQ(wrong, 0);
  pool.sweep();
  const auto statistics = pool.statistics<char>(3);
  EXPECT_EQ(statistics.hits + statistics.misses, 4U * 3000 * 2 * 200 / 300);
  EXPECT_EQ(pool.sweep(), 0U) << "no use was lost";
}

TEST(StringPool, OfTheProcessIsMadeOnceForAllThreads) {
  std::vector<std::thread> threads;
  std::vector<StringPool*> pools(4);
  for (auto& pool : pools) {
    threads.emplace_back([&pool] {
      const NQString string(u"text");
      pool = &StringPool::instance();
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto* pool : pools) EXPECT_EQ(pool, pools[0]);
}

}  // namespace
}  // namespace qvs::util
