#include <gtest/gtest.h>

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
  const struct {
    const char* text;
    bool before;
    bool after;
  } rows[] = {{"true", false, true},   {"false", true, false}, {"True", false, false}, {"TRUE", false, false},
              {"0", true, true},       {"False", true, true},  {"true", true, true},   {"", true, true},
              {"true ", false, false}, {"1", false, false}};
  for (const auto& row : rows) {
    host_.settings["key"] = row.text;
    bool value = row.before;
    EXPECT_TRUE(adaptor_.readConfigBool("key", value));
    EXPECT_EQ(value, row.after) << row.text;
  }
}

TEST_F(AdaptorConfig, HoldsNumbersWithinTheirBounds) {
  const struct {
    const char* text;
    std::uint32_t minimum;
    std::uint32_t maximum;
    std::uint32_t after;
  } rows[] = {{"7", 0, 10, 7},
              {"-5", 0, 10, 0},
              {"-5", 1, 10, 99},
              {"11", 0, 10, 99},
              {"12abc", 0, 20, 12},
              {"abc", 0, 10, 0},
              {"4294967295", 0, 0xFFFFFFFF, 0xFFFFFFFF},
              {"4294967296", 0, 0xFFFFFFFF, 99},
              {"99999999999999999999999", 0, 0xFFFFFFFF, 99}};
  for (const auto& row : rows) {
    host_.settings["key"] = row.text;
    std::uint32_t value = 99;
    EXPECT_TRUE(adaptor_.readConfigUnsigned("key", value, row.minimum, row.maximum));
    EXPECT_EQ(value, row.after) << row.text;
  }
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

}  // namespace
}  // namespace qvs::k2r
