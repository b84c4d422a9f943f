#include "host/StreamContext.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/FileContext.h"
#include "tests/host/LogCapture.h"

namespace host {
namespace {

class StreamContextTest : public testing::Test {
 protected:
  Settings settings_;
  test::LogCapture capture_;
  FileContext files_{Durability::kProcess, capture_.log()};
  StreamContext context_{settings_, capture_.log(), files_};
};

TEST_F(StreamContextTest, AsksForTheSizeWithTheTerminator) {
  settings_.assign("k2r/MaxEraseRetries=12345");
  char buffer[8] = "???????";
  char* value = buffer;
  EXPECT_EQ(context_.readConfiguration("k2r/MaxEraseRetries", &value, 5), 6);
  EXPECT_STREQ(buffer, "???????");
  EXPECT_EQ(context_.readConfiguration("k2r/MaxEraseRetries", &value, 6), 0);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_LT(context_.readConfiguration("k2r/EnableAggMsgs", &value, 8), 0);
}

TEST_F(StreamContextTest, CountsErrorsAndPassesAllOn) {
  context_.log("one", kIMOLogError, true);
  context_.log("careful", kIMOLogWarning, false);
  context_.log("two", kIMOLogError, true);
  EXPECT_EQ(capture_.text(), "error: one\nwarning: careful\nerror: two\n");
  EXPECT_EQ(context_.errorCount(), 2u);
  EXPECT_EQ(context_.firstError(), "one");
  EXPECT_EQ(context_.lastError(), "two");
}

TEST(Log, WritesALineAnEntryWhateverIsInIt) {
  test::LogCapture capture;
  capture.log().warning("a\nb\x1b[2J\r\n");
  EXPECT_EQ(capture.text(), "warning: a b [2J \n");
}

TEST(Log, KeepsTheStatusLineBelowTheOthers) {
  test::LogCapture capture;
  capture.log().setStatusLine("10 s");
  capture.log().error("x");
  capture.log().setStatusLine("11 s");
  EXPECT_EQ(capture.text(), "\r\x1b[K10 s\r\x1b[Kerror: x\n10 s\r\x1b[K11 s");
}

}  // namespace
}  // namespace host
