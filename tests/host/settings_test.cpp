// Settings, and how the module asks for them.

#include "host/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/FileContext.h"
#include "host/OpenContext.h"
#include "host/StreamContext.h"
#include "host/errors.h"
#include "tests/host/hostTools.h"

namespace host {
namespace {

std::string valueOf(const Settings& settings, std::string_view key) {
  const std::string* const value = settings.find(key);
  return value == nullptr ? "(none)" : *value;
}

TEST(Settings, ReadsTheLinesOfAFile) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"white space around", "  Recording/FrameRate \t=  25  \n", "25"},
      {"nothing but the setting", "Recording/FrameRate=25", "25"},
      {"line ends of two characters", "Recording/FrameRate = 25\r\n\r\n", "25"},
      {"empty lines and comments", "\n# Recording/FrameRate = 1\n  # x\nRecording/FrameRate = 25\n", "25"},
      {"comment behind a value", "Recording/FrameRate = 25  # per second = fps\n", "25"},
      {"the last value counts", "Recording/FrameRate = 24\nRecording/FrameRate = 25\n", "25"},
      {"equals signs and numbers in a value", "Recording/FrameRate = a=b#c\n", "a=b#c"},
      {"empty value", "Recording/FrameRate =\n", ""},
      {"nothing at all", "", "(none)"}};
  for (const auto& [why, text, value] : rows) {
    Settings settings;
    settings.readText(text, "x.conf");
    EXPECT_EQ(valueOf(settings, "Recording/FrameRate"), value) << why;
  }
}

TEST(Settings, NameTheLineThatIsWrong) {
  const struct {
    const char *text, *message;
  } rows[] = {{"\nRecording/FrameRate 25\n", "x.conf:2: expected KEY = VALUE"},
              {"# a\n\nRecording/Framerate = 25", "x.conf:3: unknown setting 'Recording/Framerate'"},
              {"= 25", "x.conf:1: unknown setting; the settings are"},
              // What may be a key of another kind is not shown.
              {"MIIEvQIBADANBgkqhkiG9w0BAQEFAASC", "x.conf:1: expected KEY = VALUE"},
              {"c2VjcmV0+/c2VjcmV0==", "x.conf:1: unknown setting; the settings are"}};
  for (const auto& row : rows) {
    Settings settings;
    EXPECT_THAT([&] { settings.readText(row.text, "x.conf"); },
                testing::ThrowsMessage<UsageError>(
                    testing::AllOf(testing::StartsWith(row.message), testing::Not(testing::HasSubstr("c2V")))));
  }
}

TEST(Settings, AssignmentsKeepTheValueAsItIs) {
  Settings settings;
  settings.assign("Recording/FragmentDuration= 4000");
  EXPECT_EQ(valueOf(settings, "Recording/FragmentDuration"), " 4000");
  settings.assign("Recording/FragmentDuration=1=2");
  EXPECT_EQ(valueOf(settings, "Recording/FragmentDuration"), "1=2");
  for (const char* const bad : {"Recording/FragmentDuration", "", "=1", " k2r/EnableAggMsgs=true", "Recording=1"}) {
    EXPECT_THROW(settings.assign(bad), UsageError) << bad;
  }
}

TEST(Settings, RefuseFilesThatAreNone) {
  const test::TempDirectory directory;
  test::writeWholeFile(directory.file("zero.conf"), std::string("Recording/FrameRate = 2\0005\n", 25));
  Settings settings;
  for (const std::string& path :
       {directory.file("missing"), directory.path().string(), std::string("/dev/zero"), directory.file("zero.conf")}) {
    EXPECT_THROW(settings.readFile(path), UsageError) << path;
  }
}

TEST(StreamContext, AnswersByTheContract) {
  Settings settings;
  settings.assign("k2r/MaxEraseRetries=12345");
  test::LogCapture capture;
  FileContext files(Durability::kProcess, capture.log());
  StreamContext context(settings, capture.log(), files, "\\rec\\cam1");
  char buffer[8] = "???????";
  char* value = buffer;
  EXPECT_EQ(context.readConfiguration("k2r/MaxEraseRetries", &value, 5), 6) << "with the terminator";
  EXPECT_STREQ(buffer, "???????");
  EXPECT_EQ(context.readConfiguration("k2r/MaxEraseRetries", &value, 6), 0);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_LT(context.readConfiguration("k2r/EnableAggMsgs", &value, 8), 0);

  context.log("one", kIMOLogError, true);
  context.log("careful", kIMOLogWarning, false);
  context.log("'\\rec\\cam1\\cam1Seg1.k2r' of '\\rec\\cam1': a\\b, \\rec\\cam10\\c in \\rec\\cam1", kIMOLogError, true);
  const std::string native = "'/rec/cam1/cam1Seg1.k2r' of '/rec/cam1': a\\b, \\rec\\cam10\\c in /rec/cam1";
  EXPECT_EQ(capture.text(), "error: one\nwarning: careful\nerror: " + native + "\n");
  EXPECT_EQ(context.errorCount(), 2u);
  EXPECT_EQ(context.firstError(), "one");
  EXPECT_EQ(context.lastError(), native);
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

}  // namespace
}  // namespace host
