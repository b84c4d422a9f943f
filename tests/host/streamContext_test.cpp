#include "host/StreamContext.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/FileContext.h"
#include "host/OpenContext.h"
#include "tests/host/LogCapture.h"

namespace host {
namespace {

TEST(StreamContext, AnswersByTheContract) {
  Settings settings;
  settings.assign("k2r/MaxEraseRetries=12345");
  test::LogCapture capture;
  FileContext files(Durability::kProcess, capture.log());
  StreamContext context(settings, capture.log(), files);
  char buffer[8] = "???????";
  char* value = buffer;
  EXPECT_EQ(context.readConfiguration("k2r/MaxEraseRetries", &value, 5), 6) << "with the terminator";
  EXPECT_STREQ(buffer, "???????");
  EXPECT_EQ(context.readConfiguration("k2r/MaxEraseRetries", &value, 6), 0);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_LT(context.readConfiguration("k2r/EnableAggMsgs", &value, 8), 0);

  context.log("one", kIMOLogError, true);
  context.log("careful", kIMOLogWarning, false);
  context.log("two", kIMOLogError, true);
  EXPECT_EQ(capture.text(), "error: one\nwarning: careful\nerror: two\n");
  EXPECT_EQ(context.errorCount(), 2u);
  EXPECT_EQ(context.firstError(), "one");
  EXPECT_EQ(context.lastError(), "two");
}

TEST(OpenContext, AnswersByTheContract) {
  Settings settings;
  settings.assign("Recording/VantryV2/ContentID=12345");
  OpenContext context(settings);
  constexpr const char* kKey = "Recording/VantryV2/ContentID";
  char buffer[8] = "???????";
  EXPECT_EQ(context.property("recording", kKey, buffer, 5), 5) << "no room for the terminator";
  EXPECT_STREQ(buffer, "???????");
  EXPECT_EQ(context.property("recording", kKey, buffer, 6), 0);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_EQ(context.property("recording", "Recording/FrameRate", buffer, 8), -1);
  EXPECT_EQ(context.property("other", kKey, buffer, 8), -1);
}

TEST(Log, WritesALineAnEntryAndKeepsTheStatusLineBelow) {
  test::LogCapture capture;
  capture.log().warning("a\nb\x1b[2J\r\n");
  capture.log().setStatusLine("10 s");
  capture.log().error("x");
  capture.log().setStatusLine("11 s");
  EXPECT_EQ(capture.text(), "warning: a b [2J \n\r\x1b[K10 s\r\x1b[Kerror: x\n10 s\r\x1b[K11 s");
}

}  // namespace
}  // namespace host
