// Strings and their pool; their conversions, the formatter, and what is made of texts.

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "tests/util/failures.h"
#include "util/NQString.h"

namespace qvs::util {
namespace {

TEST(NQString, BlockHasLengthAndKindInFrontOfTheText) {
  const auto image = [](const auto& string, std::size_t size) {
    return test::hex(std::string_view(reinterpret_cast<const char*>(string.c_str()) - 4, size + 4));
  };
  EXPECT_EQ(image(NQNarrowString("abc"), 4), "00000301 61626300");
  EXPECT_EQ(image(NQString(u"a\u1234"), 6), "00000201 61003412 0000");
  EXPECT_EQ(image(NQNarrowString(std::string(0x012345, 'x')), 0), "01234501");
  EXPECT_EQ(image(NQString(), 2), "00000000 0000");
  EXPECT_EQ(static_cast<const void*>(NQNarrowString("").c_str()), static_cast<const void*>(NQString().c_str()));
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
  const TypeParam* const null = nullptr;
  for (const Tested& none : {Tested(text.c_str(), -2), Tested(null, 5), Tested(null)}) EXPECT_TRUE(none.empty());
}

TYPED_TEST(NQStringTest, CopiesOwnTheirCharacters) {
  using Tested = BasicNQString<TypeParam>;
  auto a = this->string("abc");
  auto b = a;
  const auto* const block = b.c_str();
  EXPECT_NE(a.c_str(), block);
  EXPECT_EQ(b.makePrivate(), block) << "it is its own already";
  b.makePrivate()[0] = 'X';
  EXPECT_EQ(a, this->string("abc"));
  EXPECT_NE(Tested().makePrivate(), Tested().c_str()) << "nobody writes what all empty strings share";
  const auto c = std::move(b);
  EXPECT_EQ(a = c, this->string("Xbc"));
}

TYPED_TEST(NQStringTest, AssignsInPlaceWhileThereIsRoom) {
  auto string = this->string("0123456789");
  const auto* const block = string.c_str();
  string.assign(string.c_str() + 2, 5);
  EXPECT_EQ(string, this->string("23456")) << "a part of itself";
  string.assign(this->text(std::string(30, 'x')));
  EXPECT_EQ(string.c_str(), block);
  string.assign(this->text(std::string(31, 'y')));
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
  const std::string half = "abab" + std::string(26, 'x');
  EXPECT_EQ(string, this->string(half + half));
  EXPECT_EQ(string.c_str()[60], 0);
}

TYPED_TEST(NQStringTest, ATextBeyondTheLengthFieldStaysWithinItsBlock) {
  auto string = this->string(std::string(0xFFFFFF, 'x'));
  EXPECT_EQ(string.length(), 0xFFFFFFU) << "the longest";
  EXPECT_EQ(string.c_str()[0xFFFFFF], 0);
  string.assign(this->text(std::string(0x1000002, 'x')));
  EXPECT_EQ(string.length(), 2U);
  string.append(this->text(std::string(40, 'x')));
  EXPECT_EQ(string, this->string(std::string(42, 'x')));
}

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

TEST(Utf8, IsTakenInFormsUpToThreeBytesAndGivenBack) {
  using Row = std::pair<std::string_view, std::u16string_view>;
  for (const auto& [utf8, units] :
       {Row{"a\x7F", u"a\x7F"}, Row{"\xC2\x80\xDF\xBF", u"\x80\x7FF"}, Row{"\xE0\xA0\x80\xEF\xBF\xBF", u"\x800\xFFFF"},
        Row{"\xED\xA0\x80\xED\xBF\xBF", u"\xD800\xDFFF"}, Row{{"a\0b", 3}, {u"a\0b", 3}}}) {
    EXPECT_EQ(NQString(utf8).view(), units) << utf8;
    EXPECT_EQ(toNarrow(units).view(), utf8);
  }
  std::u16string all;
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) all.push_back(static_cast<char16_t>(unit));
  EXPECT_EQ(NQString(toNarrow(all).view()).view(), all);
}

TEST(Utf8, AnythingInvalidMakesTheWholeStringEmpty) {
  for (const char* image : {"6180", "61bf", "c080", "c1bf", "c3", "c341", "e08080", "e09fbf", "e1", "e180", "e18041",
                            "e1c080", "f09080", "f0908080", "f880808080", "ff", "ff8080", "e280acf0"}) {
    const std::string text = test::textOf(test::fromHex(image));
    for (const auto& tried : {text, "good " + text + " good"})
      EXPECT_TRUE(NQString(std::string_view(tried)).empty()) << image;
  }
}

template <typename... Values>
std::string formatted(const char16_t* pattern, Values... values) {
  NQString out(u"old");
  format(out, pattern, values...);
  return test::narrow(out);
}

TEST(Format, LetterWidthAndModifierSayWhetherATextIsNarrow) {
  EXPECT_EQ(formatted(u"%s|%S|%c|%C", "narrow", u"wide", 'n', u'w'), "narrow|wide|n|w");
  EXPECT_EQ(formatted(u"%6s|%-6S|%3c|%.2s|%.2S", u"wide", "nar", u'w', u"wide", "narrow"), "  wide|nar   |  w|wi|na");
  EXPECT_EQ(formatted(u"%hs|%hS|%ls|%lS|%ws|%hc|%lc", "n1", "n2", u"w1", u"w2", u"w3", 'n', u'w'),
            "n1|n2|w1|w2|w3|n|w");
}

TEST(Format, WritesNumbers) {
  EXPECT_EQ(formatted(u"%d %i %u %o %x %X", -5, 7, 4294967295U, 8U, 0xBEEFU, 0xBEEFU), "-5 7 4294967295 10 beef BEEF");
  EXPECT_EQ(formatted(u"[%5d|%-5d|%05d|%+d|% d|%.3d|%#x|%*d|%-*d]", 42, 42, 42, 42, 42, 7, 255U, 4, 1, -3, 2),
            "[   42|42   |00042|+42| 42|007|0xff|   1|2  ]");
  EXPECT_EQ(
      formatted(u"%hhd %hd %ld %lld %jd %zu %td %I64d %I32u", 0x1FF, 0x18000, -1L,
                std::numeric_limits<long long>::min(), std::intmax_t{-2}, std::size_t{3}, std::ptrdiff_t{-4}, 5LL, 6U),
      "-1 -32768 -1 -9223372036854775808 -2 3 -4 5 6");
  EXPECT_EQ(formatted(u"%hhu %hx %llu %lu %ju", 0x1FFU, 0x12345U, ~0ULL, 7UL, std::uintmax_t{8}),
            "255 2345 18446744073709551615 7 8");
  EXPECT_EQ(formatted(u"%.2f %8.3f %e %g %G %Lf", 2.345, 3.0, 12345.678, 1e-7, 1e20, 2.5L),
            "2.35    3.000 1.234568e+04 1e-07 1E+20 2.500000");
  EXPECT_EQ(formatted(u"%.0f", std::numeric_limits<double>::max()).size(), 309U);
}

TEST(Format, CopiesWhatIsNoConversionAndWritesNothingForN) {
  int untouched = 77;
  EXPECT_EQ(formatted(u"%%s 100%% %5y abc%n%d %", &untouched, 5), "%s 100% %5y abc5 %");
  EXPECT_EQ(untouched, 77);
  EXPECT_EQ(formatted(u"%-08.3", 1), "%-08.3");
}

TEST(Format, ReadsNoFurtherThanItMay) {
  const char* const narrow = nullptr;
  const char16_t* const wide = nullptr;
  EXPECT_EQ(formatted(u"%s %S %.3S", narrow, wide, narrow), "(null) (null) (nu");
  const std::vector<char> open = {'a', 'b', 'c'};
  const std::vector<char16_t> wideOpen = {u'd', u'e'};
  EXPECT_EQ(formatted(u"%.3S %.*s", open.data(), 2, wideOpen.data()), "abc de") << "without a terminator";
}

TEST(Format, IsEmptyFrom65536CharactersOn) {
  const std::string longest(65535, 'x');
  EXPECT_EQ(formatted(u"%s", longest.c_str()), longest);
  EXPECT_EQ(formatted(u"%s!", longest.c_str()), "");
  EXPECT_EQ(formatted(u"%65535d", 1).size(), 65535U);
  for (const auto* pattern : {u"%65536d", u"%2147483648d", u"%.99999999999d"}) EXPECT_EQ(formatted(pattern, 1), "");
  EXPECT_EQ(formatted(u"%*S", std::numeric_limits<int>::min(), "x"), "");
  const std::string euros = test::narrow(NQString(std::u16string(60000, u'\u20ac')));
  EXPECT_EQ(formatted(u"%s", euros.c_str()), euros) << "characters, not bytes";
}

TEST(Format, KeepsInvalidBytesOfUtf8) {
  NQString out;
  format(out, u"<%s>", "A\xFF\xC3\xA9\xC3\xF0\x9F");
  EXPECT_EQ(out.view(), u"<A\u00FF\u00E9\u00C3\u00F0\u009F>");
  format(out, u"%S%S", out.c_str(), u"read before it is written");
  EXPECT_EQ(out.view().substr(0, 3), u"<A\u00FF");
}

TEST(ByteDump, ShowsPrintableBytesAsTheyAre) {
  EXPECT_EQ(byteDump("A~ \x7F\x00\xFF\x1F", 7).view(), u"A ~   7F 00 FF 1F ");
  EXPECT_TRUE(byteDump(nullptr, 5).empty());
  EXPECT_EQ(byteDump(std::vector<char>(2000, 'x').data(), 2000).length(), 2048U);
}

}  // namespace
}  // namespace qvs::util
