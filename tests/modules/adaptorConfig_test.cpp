// How the adaptor reads its own settings.

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "modules/streams/k2r/k2rAdaptor.h"
#include "tests/support/TestHost.h"
#include "util/memoryLayer.h"

namespace qvs::k2r {
namespace {

class AdaptorConfig : public testing::Test {
 protected:
  test::TestHost host_{nullptr};
  k2rAdaptor adaptor_{&host_};
};

TEST_F(AdaptorConfig, ChangesABoolOnTheExactTextOnly) {
  const auto read = [this](const char* text, bool value) {
    host_.settings["key"] = text;
    EXPECT_TRUE(adaptor_.readConfigBool("key", value)) << text;
    return value;
  };
  EXPECT_TRUE(read("true", false));
  EXPECT_FALSE(read("false", true));
  for (const char* text : {"True", "true ", "1", "False", "0", ""}) {
    EXPECT_TRUE(read(text, true)) << text;
    EXPECT_FALSE(read(text, false)) << text;
  }
}

TEST_F(AdaptorConfig, HoldsNumbersWithinTheirBounds) {
  constexpr std::uint32_t kMost = 0xFFFFFFFF;
  const auto read = [this](const char* text, std::uint32_t minimum, std::uint32_t maximum) {
    host_.settings["key"] = text;
    std::uint32_t value = 99;
    EXPECT_TRUE(adaptor_.readConfigUnsigned("key", value, minimum, maximum)) << text;
    return value;
  };
  EXPECT_EQ(read("7", 0, 10), 7U);
  EXPECT_EQ(read("-5", 0, 10), 0U);
  EXPECT_EQ(read("-5", 1, 10), 99U);
  EXPECT_EQ(read("11", 0, 10), 99U);
  EXPECT_EQ(read("12abc", 0, 20), 12U);
  EXPECT_EQ(read("abc", 0, 10), 0U);
  EXPECT_EQ(read("4294967295", 0, kMost), kMost);
  EXPECT_EQ(read("4294967296", 0, kMost), 99U);
  EXPECT_EQ(read("99999999999999999999999", 0, kMost), 99U);
  std::int32_t number = 1;
  host_.settings["key"] = "-17";
  EXPECT_TRUE(adaptor_.readConfigInt("key", number));
  EXPECT_EQ(number, -17);
}

TEST_F(AdaptorConfig, LeavesValuesOfMissingKeys) {
  bool flag = true;
  std::uint32_t number = 5;
  EXPECT_FALSE(adaptor_.readConfigBool("absent", flag));
  EXPECT_FALSE(adaptor_.readConfigUnsigned("absent", number, 0, 10));
  EXPECT_TRUE(flag);
  EXPECT_EQ(number, 5U);
}

TEST_F(AdaptorConfig, GrowsTheBufferForALongValue) {
  host_.settings["key"] = std::string(500, ' ') + "42";
  std::uint32_t value = 0;
  EXPECT_TRUE(adaptor_.readConfigUnsigned("key", value, 0, 100));
  EXPECT_EQ(value, 42U);

  std::uint32_t length = 8;
  char* block = static_cast<char*>(util::memory::cAllocation.malloc(length));
  EXPECT_TRUE(adaptor_.readConfig("key", &block, length));
  EXPECT_EQ(length, 503U);
  EXPECT_EQ(std::string(block), host_.settings["key"]);
  util::memory::cAllocation.free(block);
}

TEST_F(AdaptorConfig, RefusesNullArguments) {
  std::uint32_t length = 8;
  char* none = nullptr;
  EXPECT_FALSE(adaptor_.readConfig(nullptr, &none, length));
  EXPECT_FALSE(adaptor_.readConfig("key", nullptr, length));
  EXPECT_FALSE(adaptor_.readConfig("key", &none, length));
}

TEST_F(AdaptorConfig, IsReadByCopiesWhenTheFirstAdaptorIsGone) {
  std::optional<k2rAdaptor> first(&host_);
  k2rAdaptor copy(*first);
  adaptor_ = *first;
  first.reset();
  host_.settings["key"] = "true";
  for (auto* const adaptor : {&copy, &adaptor_}) {
    bool value = false;
    EXPECT_TRUE(adaptor->readConfigBool("key", value) && value);
  }
  EXPECT_TRUE(host_.lines.empty());
}

}  // namespace
}  // namespace qvs::k2r
