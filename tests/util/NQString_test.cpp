// Strings, their conversions, and what is made of bytes for people.

#include "util/NQString.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"
#include "tests/util/failures.h"

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

TEST(ByteDump, ShowsPrintableBytesAsTheyAre) {
  EXPECT_EQ(byteDump("A~ \x7F\x00\xFF\x1F", 7).view(), u"A ~   7F 00 FF 1F ");
  EXPECT_TRUE(byteDump(nullptr, 5).empty());
  EXPECT_EQ(byteDump(std::vector<char>(2000, 'x').data(), 2000).length(), 2048U);
}

}  // namespace
}  // namespace qvs::util
