#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/server/RandomValues.h"
#include "tests/support/ScriptCodec.h"
#include "tests/support/sameValue.h"

namespace {

constexpr std::uint32_t kSeeds = 400;
constexpr int kDepth = 5;

/// Values written one behind another, so that later ones may refer to earlier ones, are the same when read back; and
/// what was read back is written as the same bytes, as by then all exceptions have happened.
void expectToComeBack(const std::vector<NQDataValue>& values, std::uint8_t encoding, std::uint32_t seed) {
  const auto payload = test::writeScript(values, encoding);
  const auto back = test::readScript(payload);
  ASSERT_EQ(back.size(), values.size()) << "seed " << seed;
  for (std::size_t i = 0; i < values.size(); ++i)
    ASSERT_TRUE(test::sameValue(values[i], back[i]))
        << "seed " << seed << test::dumpOf(values[i]) << "\n  but" << test::dumpOf(back[i]);
  const auto again = test::writeScript(back, encoding);
  const auto twice = test::readScript(again);
  for (std::size_t i = 0; i < values.size(); ++i) ASSERT_TRUE(test::sameValue(back[i], twice[i])) << "seed " << seed;
  ASSERT_EQ(test::writeScript(twice, encoding), again) << "seed " << seed;
}

TEST(ScriptRoundTrip, AnyAMF0ComesBack) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    test::RandomValues random(seed);
    expectToComeBack({random.amf0(kDepth), random.amf0(kDepth), random.amf0(kDepth)}, 0, seed);
  }
}

TEST(ScriptRoundTrip, AnyAMF3ComesBack) {
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    test::RandomValues random(seed);
    for (const std::uint8_t encoding : {std::uint8_t{0}, std::uint8_t{3}})
      expectToComeBack({random.object(kDepth), random.object(kDepth)}, encoding, seed);
  }
}

// Bytes cut short anywhere, or with a byte of another value, are read or refused.
TEST(ScriptRoundTrip, DamagedBytesAreReadOrRefused) {
  int refused = 0;
  for (std::uint32_t seed = 0; seed < kSeeds; ++seed) {
    test::RandomValues random(seed);
    const std::vector<NQDataValue> values = {random.amf0(3), random.object(3)};
    auto payload = test::writeScript(values);
    if (payload.size() > 1000) continue;
    payload[seed % payload.size()] ^= static_cast<std::byte>(1U << seed % 8);
    payload.resize(payload.size() - seed % 3);
    try {
      const auto read = test::readScript(payload);
      for (const auto& value : read) EXPECT_FALSE(test::dumpOf(value).empty());
    } catch (const NQBreakConnection&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
}

}  // namespace
