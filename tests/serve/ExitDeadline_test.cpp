#include "host/serve/ExitDeadline.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace host::serve {
namespace {

using std::chrono::steady_clock;

TEST(ExitDeadline, EndsAProcessThatHangsAndNoOther) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const auto hang = [] {
    const ExitDeadline deadline(steady_clock::now(), [] { return ExitStatus::kIncomplete; });
    while (true) ::pause();
  };
  EXPECT_EXIT(hang(), testing::ExitedWithCode(static_cast<int>(ExitStatus::kIncomplete)), "");
  const auto end = [] {
    { const ExitDeadline deadline(steady_clock::now() + std::chrono::hours(1), [] { return ExitStatus::kIncomplete; }); }
    std::_Exit(0);
  };
  EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace host::serve
