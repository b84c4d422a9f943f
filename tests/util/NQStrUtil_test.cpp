#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "util/NQStrUtil.h"

namespace qvs::util {
namespace {

template <typename... Values>
std::string formatted(const char16_t* pattern, Values... values) {
  NQString out(u"old");
  format(out, pattern, values...);
  return std::string(toNarrow(out.view()).view());
}

TEST(Format, TakesNarrowTextsBySmallLettersAndWideOnesByCapitals) {
  EXPECT_EQ(formatted(u"%s|%S|%c|%C", "narrow", u"wide", 'n', u'w'), "narrow|wide|n|w");
}

TEST(Format, TurnsTheLettersOverBehindAWidth) {
  EXPECT_EQ(formatted(u"%6s|%-6S|%3c|%.2s|%.2S", u"wide", "nar", u'w', u"wide", "narrow"), "  wide|nar   |  w|wi|na");
}

TEST(Format, ModifiersFixTheWidthOfTexts) {
  EXPECT_EQ(formatted(u"%hs|%hS|%ls|%lS|%ws|%hc|%lc", "n1", "n2", u"w1", u"w2", u"w3", 'n', u'w'),
            "n1|n2|w1|w2|w3|n|w");
}

TEST(Format, WritesIntegers) {
  EXPECT_EQ(formatted(u"%d %i %u %o %x %X", -5, 7, 4294967295U, 8U, 0xBEEFU, 0xBEEFU), "-5 7 4294967295 10 beef BEEF");
  EXPECT_EQ(formatted(u"[%5d|%-5d|%05d|%+d|% d|%.3d|%#x|%*d|%-*d]", 42, 42, 42, 42, 42, 7, 255U, 4, 1, -3, 2),
            "[   42|42   |00042|+42| 42|007|0xff|   1|2  ]");
  EXPECT_EQ(
      formatted(u"%hhd %hd %ld %lld %jd %zu %td %I64d %I32u", 0x1FF, 0x18000, -1L,
                std::numeric_limits<long long>::min(), std::intmax_t{-2}, std::size_t{3}, std::ptrdiff_t{-4}, 5LL, 6U),
      "-1 -32768 -1 -9223372036854775808 -2 3 -4 5 6");
  EXPECT_EQ(formatted(u"%hhu %hx %llu %lu %ju", 0x1FFU, 0x12345U, ~0ULL, 7UL, std::uintmax_t{8}),
            "255 2345 18446744073709551615 7 8");
}

TEST(Format, WritesFloatingPointNumbers) {
  EXPECT_EQ(formatted(u"%f %.2f %8.3f %e %g %G %Lf", 1.5, 2.345, 3.0, 12345.678, 1e-7, 1e20, 2.5L),
            "1.500000 2.35 "
            "   3.000 1.234568e+04 1e-07 1E+20 2.500000");
  EXPECT_EQ(formatted(u"%.0f", std::numeric_limits<double>::max()).size(), 309U);
}

TEST(Format, CopiesWhatIsNoConversion) {
  EXPECT_EQ(formatted(u"100%% %5y %", 1), "100% %5y %");
  EXPECT_EQ(formatted(u"%%s %d", 3), "%s 3");
  EXPECT_EQ(formatted(u"%-08.3", 1), "%-08.3");
  EXPECT_EQ(formatted(u""), "");
}

TEST(Format, LeavesMemoryAloneForN) {
  int untouched = 77;
  EXPECT_EQ(formatted(u"abc%n%d", &untouched, 5), "abc5");
  EXPECT_EQ(untouched, 77);
}

TEST(Format, NullTextsAreNamed) {
  const char* const narrow = nullptr;
  const char16_t* const wide = nullptr;
  EXPECT_EQ(formatted(u"%s %S %.3S", narrow, wide, narrow), "(null) (null) (nu");
}

TEST(Format, ReadsNoFurtherThanThePrecision) {
  const std::vector<char> unterminated = {'a', 'b', 'c'};
  const std::vector<char16_t> wide = {u'd', u'e'};
  EXPECT_EQ(formatted(u"%.3S %.*s", unterminated.data(), 2, wide.data()), "abc de");
}

TEST(Format, DecodesNarrowTextsAndKeepsInvalidBytes) {
  NQString out;
  format(out, u"%s", "\xC3\xA9\xFF");
  EXPECT_EQ(out.view(), u"\u00E9\u00FF");
}

TEST(Format, IsEmptyFrom65536CharactersOn) {
  const std::string longest(65535, 'x');
  EXPECT_EQ(formatted(u"%s", longest.c_str()), longest);
  EXPECT_EQ(formatted(u"%s!", longest.c_str()), "");
  EXPECT_EQ(formatted(u"%65535d", 1).size(), 65535U);
  EXPECT_EQ(formatted(u"%65536d", 1), "");
  EXPECT_EQ(formatted(u"%2147483648d%s", 1, "x"), "");
  EXPECT_EQ(formatted(u"%.99999999999d", 1), "");
  EXPECT_EQ(formatted(u"%*S", std::numeric_limits<int>::min(), "x"), "");
}

TEST(Format, CountsCharactersNotBytes) {
  std::string euros;
  for (int i = 0; i < 60000; ++i) euros += "\xE2\x82\xAC";
  NQString out;
  format(out, u"%s", euros.c_str());
  EXPECT_EQ(out.length(), 60000U);
}

TEST(Format, MayReadTheStringItWrites) {
  NQString text(u"abc");
  format(text, u"<%S>", text.c_str());
  EXPECT_EQ(text.view(), u"<abc>");
}

TEST(ByteDump, ShowsPrintableBytesAsTheyAre) {
  EXPECT_EQ(byteDump("A~ \x7F\x00\xFF\x1F", 7).view(), u"A ~   7F 00 FF 1F ");
  EXPECT_TRUE(byteDump(nullptr, 5).empty());
  EXPECT_TRUE(byteDump("x", 0).empty());
  EXPECT_EQ(byteDump(std::vector<char>(2000, 'x').data(), 2000).length(), 2048U);
}

TEST(SplitPath, CutsAtTheLastBackslash) {
  const struct {
    const char16_t *path, *directory, *name;
  } rows[] = {{u"\\var\\rec\\cam1", u"\\var\\rec", u"cam1"},
              {u"cam1", u"", u"cam1"},
              {u"var/cam1", u"", u"var/cam1"},
              {u"\\cam1", u"", u"cam1"},
              {u"dir\\", u"dir", u""},
              {u"", u"", u""}};
  for (const auto& row : rows) {
    const auto parts = splitPath(NQString(row.path));
    EXPECT_EQ(parts.directory.view(), row.directory);
    EXPECT_EQ(parts.name.view(), row.name);
  }
}

}  // namespace
}  // namespace qvs::util
