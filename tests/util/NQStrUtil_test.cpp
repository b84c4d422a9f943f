#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "tests/util/failures.h"

namespace qvs::util {
namespace {

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

TEST(Format, CopiesWhatIsNoConversion) {
  EXPECT_EQ(formatted(u"100%% %5y %", 1), "100% %5y %");
  EXPECT_EQ(formatted(u"%%s %d", 3), "%s 3");
  EXPECT_EQ(formatted(u"%-08.3", 1), "%-08.3");
}

TEST(Format, LeavesMemoryAloneForN) {
  int untouched = 77;
  EXPECT_EQ(formatted(u"abc%n%d", &untouched, 5), "abc5");
  EXPECT_EQ(untouched, 77);
}

TEST(Format, ReadsNoFurtherThanItMay) {
  const char* const narrow = nullptr;
  const char16_t* const wide = nullptr;
  EXPECT_EQ(formatted(u"%s %S %.3S", narrow, wide, narrow), "(null) (null) (nu");
  const std::vector<char> unterminated = {'a', 'b', 'c'};
  const std::vector<char16_t> wideUnterminated = {u'd', u'e'};
  EXPECT_EQ(formatted(u"%.3S %.*s", unterminated.data(), 2, wideUnterminated.data()), "abc de");
}

TEST(Format, IsEmptyFrom65536CharactersOn) {
  const std::string longest(65535, 'x');
  EXPECT_EQ(formatted(u"%s", longest.c_str()), longest);
  EXPECT_EQ(formatted(u"%s!", longest.c_str()), "");
  EXPECT_EQ(formatted(u"%65535d", 1).size(), 65535U);
  for (const auto* pattern : {u"%65536d", u"%2147483648d", u"%.99999999999d"}) EXPECT_EQ(formatted(pattern, 1), "");
  EXPECT_EQ(formatted(u"%*S", std::numeric_limits<int>::min(), "x"), "");
}

TEST(Format, CountsUnitsOfUtf8AndKeepsInvalidBytes) {
  std::string euros;
  for (int i = 0; i < 60000; ++i) euros += "\xE2\x82\xAC";
  NQString out;
  format(out, u"%s", euros.c_str());
  EXPECT_EQ(out.length(), 60000U);
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

TEST(SplitPath, CutsAtTheLastBackslash) {
  const auto split = [](const char16_t* path) {
    const PathParts parts = splitPath(NQString(path));
    return test::narrow(parts.directory) + '|' + test::narrow(parts.name);
  };
  EXPECT_EQ(split(u"\\var\\rec\\cam1"), "\\var\\rec|cam1");
  EXPECT_EQ(split(u"var/cam1"), "|var/cam1");
  EXPECT_EQ(split(u"\\cam1"), "|cam1");
  EXPECT_EQ(split(u"dir\\"), "dir|");
}

}  // namespace
}  // namespace qvs::util
