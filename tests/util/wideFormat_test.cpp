// What is made of a pattern and values.

#include "tests/support/testing.h"
#include "tests/util/failures.h"
#include "util/NQString.h"

namespace qvs::util {
namespace {

template <typename... Values>
std::string formatted(const char16_t* pattern, Values... values) {
  NQString out(u"old");
  format(out, pattern, values...);
  return test::narrow(out);
}

TEST(Format, LetterWidthAndModifierSayWhetherATextIsNarrow) {
  EXPECT_EQ(formatted(u"%s|%S|%c|%C", "narrow", u"wide", 'n', u'w'), "narrow|wide|n|w");
  EXPECT_EQ(formatted(u"%6s|%-6S|%3c|%.2s|%.2S", u"wide", "nar", u'w', u"wide", "narrow"), "  wide|nar   |  w|wi|na");
  EXPECT_EQ(formatted(u"%hs|%ls|%ws|%hc|%lc", "n1", u"w1", u"w3", 'n', u'w'), "n1|w1|w3|n|w");
}

TEST(Format, WritesNumbers) {
  EXPECT_EQ(formatted(u"%d %i %u %o %x %X", -5, 7, 4294967295U, 8U, 0xBEEFU, 0xBEEFU), "-5 7 4294967295 10 beef BEEF");
  EXPECT_EQ(formatted(u"[%5d|%-5d|%05d|%+d|% d|%.3d|%#x|%*d|%-*d]", 42, 42, 42, 42, 42, 7, 255U, 4, 1, -3, 2),
            "[   42|42   |00042|+42| 42|007|0xff|   1|2  ]");
  EXPECT_EQ(
      formatted(u"%hhd %hd %ld %lld %jd %zu %td %I64d %I32u", 0x1FF, 0x18000, -1L,
                std::numeric_limits<long long>::min(), std::intmax_t{-2}, std::size_t{3}, std::ptrdiff_t{-4}, 5LL, 6U),
      "-1 -32768 -1 -9223372036854775808 -2 3 -4 5 6");
  EXPECT_EQ(formatted(u"%.2f %8.3f %e %g %G %Lf", 2.345, 3.0, 12345.678, 1e-7, 1e20, 2.5L),
            "2.35    3.000 1.234568e+04 1e-07 1E+20 2.500000");
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

}  // namespace
}  // namespace qvs::util
