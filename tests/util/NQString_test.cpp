#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/hex.h"
#include "util/NQString.h"

namespace qvs::util {
namespace {

std::string blockImage(const void* text, std::size_t size) {
  return test::hex(std::string_view(static_cast<const char*>(text) - 4, size + 4));
}

TEST(NQString, BlockHasLengthAndKindInFrontOfTheText) {
  const NQNarrowString narrow("abc");
  EXPECT_EQ(blockImage(narrow.c_str(), 4), "00000301 61626300");
  const NQString wide(u"a\u1234");
  EXPECT_EQ(wide.c_str()[2], 0);
  EXPECT_EQ(blockImage(wide.c_str(), 0), "00000201");
  const NQNarrowString longer(std::string(0x012345, 'x'));
  EXPECT_EQ(blockImage(longer.c_str(), 0), "01234501");
  const NQString empty;
  EXPECT_EQ(blockImage(empty.c_str(), 2), "00000000 0000");
  EXPECT_EQ(static_cast<const void*>(NQNarrowString("").c_str()), static_cast<const void*>(empty.c_str()));
}

template <typename Char>
struct NQStringTest : testing::Test {
  using String = BasicNQString<Char>;

  static std::basic_string<Char> text(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }
  static String string(std::string_view ascii) { return String(std::basic_string_view<Char>(text(ascii))); }
};
using Widths = testing::Types<char, char16_t>;
TYPED_TEST_SUITE(NQStringTest, Widths);

TYPED_TEST(NQStringTest, TakesTextsByLengthOrTerminator) {
  using Tested = BasicNQString<TypeParam>;
  const auto text = this->text("abcdef");
  EXPECT_EQ(Tested(text.c_str()), this->string("abcdef"));
  EXPECT_EQ(Tested(text.c_str(), 3), this->string("abc"));
  EXPECT_TRUE(Tested(text.c_str(), -2).empty());
  const TypeParam* const null = nullptr;
  EXPECT_EQ(Tested(null, 5).c_str(), Tested().c_str());
  EXPECT_TRUE(Tested(null).empty());
}

TYPED_TEST(NQStringTest, CopiesOwnTheirCharacters) {
  auto a = this->string("abc");
  auto b = a;
  const auto* const block = b.c_str();
  EXPECT_NE(a.c_str(), block);
  EXPECT_EQ(b.makePrivate(), block) << "it is its own already";
  b.makePrivate()[0] = 'X';
  EXPECT_EQ(a, this->string("abc"));
  const auto c = std::move(b);
  a = c;
  EXPECT_EQ(a, this->string("Xbc"));
}

TYPED_TEST(NQStringTest, AssignsInPlaceWhileThereIsRoom) {
  auto string = this->string("0123456789");
  const auto* const block = string.c_str();
  string.assign(string.c_str() + 2, 5);
  EXPECT_EQ(string, this->string("23456")) << "a part of itself";
  string.assign(this->text(std::string(30, 'x')));
  EXPECT_EQ(string.c_str(), block);
  string.assign(this->text(std::string(31, 'y')));
  EXPECT_NE(string.c_str(), block);
  EXPECT_EQ(string, this->string(std::string(31, 'y')));
  string.assign(nullptr, 4);
  EXPECT_TRUE(string.empty());
}

TYPED_TEST(NQStringTest, AppendsInStepsOf32) {
  auto string = this->string("");
  string.append(this->text("ab").c_str());
  EXPECT_TRUE(string.isPrivate());
  const auto* const block = string.c_str();
  string.append(string.view());
  string.append(this->text(std::string(26, 'x')));
  EXPECT_EQ(string.c_str(), block);
  string.append(string.view());
  EXPECT_NE(string.c_str(), block);
  const std::string half = "abab" + std::string(26, 'x');
  EXPECT_EQ(string, this->string(half + half));
  EXPECT_EQ(string.c_str()[60], 0);
}

TYPED_TEST(NQStringTest, ATextBeyondTheLengthFieldStaysWithinItsBlock) {
  auto string = this->string("");
  string.assign(this->text(std::string(0x1000002, 'x')));
  EXPECT_EQ(string.length(), 2U);
  string.append(this->text(std::string(40, 'x')));
  EXPECT_EQ(string, this->string(std::string(42, 'x')));
}

using namespace std::string_view_literals;

TEST(StringPool, SharesTextsUpToItsLength) {
  StringPool pool(8);
  const auto a = pool.intern("12345678"sv);
  const auto b = pool.intern(std::string_view(std::string("12345678")));
  const auto longer = pool.intern("123456789"sv);
  EXPECT_EQ(a, b);
  EXPECT_FALSE(a.isPrivate());
  EXPECT_EQ(a.view(), "12345678");
  EXPECT_TRUE(longer.isPrivate());
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
  for (const auto block : {appended, written, shared}) pool.release(block);
  EXPECT_EQ(pool.sweep(), 3U) << "the other three gave their use back";
}

TEST(StringPool, ReadsItsLengthFromASetting) {
  const std::pair<const char*, std::int32_t> rows[] = {{nullptr, 0}, {"", 0},   {"8", 8},
                                                       {" 12x", 12}, {"-1", 0}, {"99999999999999999999", 0xFFFFFF}};
  for (const auto& [setting, length] : rows)
    EXPECT_EQ(StringPool::maxPooledLengthFrom(setting), length) << (setting ? setting : "(null)");
}

/// Runs in a process of its own, since the pool of a process is made once.
void useStringsWithSetting() {
  setenv("QVS_STRING_POOL", "8", 1);
  const NQNarrowString a("12345678");
  const NQNarrowString b("12345678");
  const NQNarrowString c("123456789");
  const NQString d(u"12345678");
  const NQString e(d);
  std::exit(a.c_str() == b.c_str() && d.c_str() == e.c_str() && c.isPrivate() ? 8 : 0);
}

TEST(StringPoolDeathTest, TakesTheSettingOfTheEnvironment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(useStringsWithSetting(), testing::ExitedWithCode(8), "");
}

TEST(StringPool, ServesManyThreadsAtOnce) {
  constexpr int kRounds = 3000;
  StringPool pool(4);
  std::atomic<int> wrong = 0;
  std::atomic<int> working = 3;
  const auto work = [&] {
    for (int round = 0; round < kRounds; ++round) {
      const std::string text = std::to_string(round % 300);
      const auto shared = pool.intern(std::string_view(text));
      auto copy = pool.intern(shared.view());
      if (copy != shared || copy.view() != text) ++wrong;
      pool.append(copy, "!"sv);
      if (copy.view() != text + "!") ++wrong;
      pool.release(copy);
      pool.release(shared);
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
