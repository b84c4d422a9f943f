#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "tests/support/hex.h"
#include "util/NQString.h"

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
}

TEST(NQString, EmptyStringsOfBothWidthsShareABlock) {
  const NQString wide;
  const NQNarrowString narrow("");
  EXPECT_EQ(static_cast<const void*>(wide.c_str()), static_cast<const void*>(narrow.c_str()));
  EXPECT_EQ(blockImage(wide.c_str(), 2), "00000000 0000");
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
  EXPECT_EQ(c, this->string("Xbc"));
  a = c;
  EXPECT_EQ(a, c);
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

}  // namespace
