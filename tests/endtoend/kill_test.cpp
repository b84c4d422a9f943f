#include <gtest/gtest.h>

#include <filesystem>

#include "tests/endtoend/shell.h"

namespace {

TEST(Kill, LosesNothingThatWasNamed) {
  const auto root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
  const auto build = std::filesystem::path(K2R_PROGRAM).parent_path().parent_path();
  const auto result = test::run((root / "scripts/kill_test.sh").string() + " 8 " + build.string());
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_NE(result.output.find("8 kills"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("all whole"), std::string::npos) << result.output;
}

}  // namespace
