#include <gtest/gtest.h>

#include <optional>

#include "modules/streams/k2r/k2rAdaptor.h"
#include "tests/support/TestHost.h"

namespace {

TEST(AdaptorCopies, WorkOnWhenTheFirstOneIsGone) {
  test::TestHost host(nullptr);
  std::optional<qvs::k2r::k2rAdaptor> first(&host);
  qvs::k2r::k2rAdaptor second(*first);
  qvs::k2r::k2rAdaptor third(&host);
  third = *first;
  first.reset();
  host.settings["key"] = "true";
  for (auto* const adaptor : {&second, &third}) {
    bool value = false;
    EXPECT_TRUE(adaptor->readConfigBool("key", value));
    EXPECT_TRUE(value);
  }
  EXPECT_TRUE(host.lines.empty());
}

}  // namespace
