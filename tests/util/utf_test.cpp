#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/support/hex.h"
#include "util/NQStrUtil.h"
#include "util/utf.h"

namespace qvs::util {
namespace {

std::string bytesOf(const char* image) {
  const auto bytes = test::fromHex(image);
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

NQString wide(std::string_view utf8) {
  return NQString(utf8);
}

TEST(Utf8ToWide, TakesFormsUpToThreeBytes) {
  const struct {
    const char* image;
    std::u16string_view units;
  } rows[] = {{"61 7f", u"a\x7F"},
              {"c280 dfbf", u"\x80\x7FF"},
              {"e0a080", u"\x800"},
              {"efbfbf", u"\xFFFF"},
              {"eda080", u"\xD800"},
              {"edbfbf", u"\xDFFF"},
              {"e282ac 62",
               u"\x20AC"
               u"b"}};
  for (const auto& row : rows) EXPECT_EQ(wide(bytesOf(row.image)).view(), row.units) << row.image;
}

TEST(Utf8ToWide, AnythingInvalidMakesTheWholeStringEmpty) {
  const char* const rows[] = {"61 80",  "61 bf",     "c080",        "c1bf", "c3",       "c341",
                              "e08080", "e09fbf",    "e1",          "e180", "e18041",   "e1c080",
                              "f09080", "f09080 80", "f88080 8080", "ff",   "e280ac f0"};
  for (const char* const row : rows) {
    EXPECT_TRUE(wide(bytesOf(row)).empty()) << row;
    EXPECT_TRUE(wide("good " + bytesOf(row) + " good").empty()) << row;
  }
}

TEST(Utf8ToWide, TakesLongTextsAndZeros) {
  const std::string text(3000, 'x');
  EXPECT_EQ(wide(text).view(), std::u16string(3000, u'x'));
  EXPECT_EQ(wide(std::string_view("a\0b", 3)).view(), std::u16string_view(u"a\0b", 3));
  const char* const null = nullptr;
  EXPECT_TRUE(NQString(null, 5).empty());
}

TEST(WideToUtf8, WritesEachUnitByItself) {
  const struct {
    std::u16string_view units;
    const char* image;
  } rows[] = {{u"a\x7F", "617f"},    {u"\x80\x7FF", "c280dfbf"},       {u"\x800\xFFFF", "e0a080ef bfbf"},
              {u"\xD83D", "eda0bd"}, {u"\U0001F600", "eda0bded b880"}, {u"", ""}};
  for (const auto& row : rows) EXPECT_EQ(test::hex(toNarrow(row.units).view()), row.image);
}

TEST(WideToUtf8, ComesBackForEveryUnit) {
  std::u16string all;
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) all.push_back(static_cast<char16_t>(unit));
  EXPECT_EQ(wide(toNarrow(all).view()).view(), all);
}

TEST(LenientUtf8, KeepsInvalidBytesAsTheyAre) {
  EXPECT_EQ(utf8ToUnitsLeniently(bytesOf("41 ff c3a9 c3 f09f 42")),
            u"A\xFF\xE9\xC3\xF0\x9F"
            u"B");
}

}  // namespace
}  // namespace qvs::util
