#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "tests/support/hex.h"
#include "util/NQString.h"

namespace {

using qvs::util::StringBlock;

template <typename Char>
struct NQStringTest : testing::Test {
  using String = BasicNQString<Char>;
  using View = std::basic_string_view<Char>;

  static std::basic_string<Char> repeated(std::size_t count, char character = 'x') {
    return std::basic_string<Char>(count, static_cast<Char>(character));
  }
  static std::basic_string<Char> text(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }
  static String string(std::string_view ascii) { return String(View(text(ascii))); }
};
using Widths = testing::Types<char, char16_t>;
TYPED_TEST_SUITE(NQStringTest, Widths);

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
  EXPECT_FALSE(wide.isPrivate());
}

TYPED_TEST(NQStringTest, TakesTextsByLengthOrTerminator) {
  using Tested = BasicNQString<TypeParam>;
  const auto text = TestFixture::text("abcdef");
  EXPECT_EQ(Tested(text.c_str()), TestFixture::string("abcdef"));
  EXPECT_EQ(Tested(text.c_str(), 3), TestFixture::string("abc"));
  EXPECT_TRUE(Tested(text.c_str(), 0).empty());
  EXPECT_TRUE(Tested(text.c_str(), -2).empty());
  const TypeParam* const null = nullptr;
  EXPECT_EQ(Tested(null, 5).c_str(), Tested().c_str());
  EXPECT_TRUE(Tested(null).empty());
}

TYPED_TEST(NQStringTest, CopiesOwnTheirCharacters) {
  auto a = TestFixture::string("abc");
  auto b = a;
  EXPECT_NE(a.c_str(), b.c_str());
  b.makePrivate()[0] = 'X';
  EXPECT_EQ(a, TestFixture::string("abc"));
  EXPECT_EQ(b, TestFixture::string("Xbc"));
  const auto c = std::move(b);
  EXPECT_EQ(c, TestFixture::string("Xbc"));
  a = c;
  auto& self = a;
  a = self;
  EXPECT_EQ(a, c);
}

TYPED_TEST(NQStringTest, AssignsInPlaceWhileThereIsRoom) {
  auto string = TestFixture::string("abc");
  const auto* const block = string.c_str();
  string.assign(TestFixture::repeated(30));
  EXPECT_EQ(string.c_str(), block);
  EXPECT_EQ(string.length(), 30U);
  string.assign(TestFixture::repeated(31));
  EXPECT_NE(string.c_str(), block);
  EXPECT_EQ(string.view(), TestFixture::repeated(31));
  string.assign(nullptr, 4);
  EXPECT_TRUE(string.empty());
}

TYPED_TEST(NQStringTest, AssignsAPartOfItself) {
  auto string = TestFixture::string("0123456789");
  string.assign(string.c_str() + 2, 5);
  EXPECT_EQ(string, TestFixture::string("23456"));
}

TYPED_TEST(NQStringTest, AppendsInStepsOf32) {
  auto string = TestFixture::string("");
  string.append(TestFixture::text("ab").c_str());
  const auto* const block = string.c_str();
  string.append(TestFixture::repeated(28));
  EXPECT_EQ(string.c_str(), block);
  string.append(string.view());
  EXPECT_NE(string.c_str(), block);
  EXPECT_EQ(string.view(),
            TestFixture::text("ab") + TestFixture::repeated(28) + TestFixture::text("ab") + TestFixture::repeated(28));
  EXPECT_EQ(string.c_str()[60], 0);
}

TYPED_TEST(NQStringTest, AppendingItselfInPlace) {
  auto string = TestFixture::string("abc");
  string.append(string.view());
  EXPECT_EQ(string, TestFixture::string("abcabc"));
}

TYPED_TEST(NQStringTest, MakePrivateKeepsAPrivateBlock) {
  auto string = TestFixture::string("abc");
  const auto* const block = string.c_str();
  EXPECT_EQ(string.makePrivate(), block);
  auto empty = TestFixture::string("");
  empty.makePrivate();
  EXPECT_TRUE(empty.isPrivate());
  EXPECT_TRUE(empty.empty());
}

TYPED_TEST(NQStringTest, ComparesByContent) {
  EXPECT_LT(TestFixture::string("ab"), TestFixture::string("abc"));
  EXPECT_LT(TestFixture::string("abc"), TestFixture::string("b"));
  EXPECT_NE(TestFixture::string("ab"), TestFixture::string("AB"));
}

TEST(StringBlock, RoomGrowsInStepsOf32) {
  const struct { std::size_t length, capacity; } rows[] = {{0, 32}, {30, 32}, {31, 64}, {62, 64}, {63, 96}};
  for (const auto& row : rows) EXPECT_EQ(StringBlock<char>::capacityFor(row.length), row.capacity) << row.length;
}

TYPED_TEST(NQStringTest, ATextBeyondTheLengthFieldStaysWithinItsBlock) {
  auto string = TestFixture::string("");
  string.assign(TestFixture::repeated(0x1000002));
  EXPECT_EQ(string.length(), 2U);
  string.append(TestFixture::repeated(40));
  EXPECT_EQ(string.view(), TestFixture::repeated(42));
}

}  // namespace
