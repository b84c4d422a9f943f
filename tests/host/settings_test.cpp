// Settings, and how the module asks for them.

#include "host/Settings.h"

#include <fmt/format.h>

#include <boost/algorithm/string/replace.hpp>

#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/RecordingSettings.h"
#include "host/FileContext.h"
#include "host/OpenContext.h"
#include "host/StreamContext.h"
#include "host/errors.h"
#include "host/settingsTable.h"
#include "tests/host/hostTools.h"

namespace host {
namespace {

std::string valueOf(const Settings& settings, std::string_view key) {
  const std::string* const value = settings.find(key);
  return value == nullptr ? "(none)" : *value;
}

TEST(Settings, ReadsTheLinesOfAFile) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"white space around", "  KEY \t=  25  \n", "25"},
      {"line ends of two characters", "KEY = 25\r\n\r\n", "25"},
      {"empty lines and comments", "\n# KEY = 1\n  # x\nKEY = 25\n", "25"},
      {"comment after a value", "KEY = 25  # per second = fps\n", "25"},
      {"the last value counts", "KEY = 24\nKEY = 25\n", "25"},
      {"empty value", "KEY =\n", ""},
      {"nothing at all", "", "(none)"}};
  for (const auto& [why, text, value] : rows) {
    Settings settings;
    settings.readText(boost::replace_all_copy<std::string>(text, "KEY", "Recording/VantryV2/ContentID"), "x.conf");
    EXPECT_EQ(valueOf(settings, "Recording/VantryV2/ContentID"), value) << why;
  }
}

TEST(Settings, NameTheLineThatIsWrong) {
  const std::pair<const char*, const char*> rows[] = {
      {"\nRecording/FrameRate 25\n", "x.conf:2: expected KEY = VALUE"},
      {"# a\n\nRecording/Framerate = 25",
       "x.conf:3: unknown setting 'Recording/Framerate'; did you mean Recording/FrameRate?"},
      {"SegmentDurations = 25", "x.conf:1: unknown setting; did you mean Recording/SegmentDuration?"},
      {"= 25", "x.conf:1: unknown setting; k2r record --help lists the settings"},
      {"\nRecording/FrameRate = 25 fps", "x.conf:2: Recording/FrameRate = '25 fps': expected a number from 0 to"},
      // What may be a key of another kind is not shown.
      {"MIIEvQIBADANBgkqhkiG9w0BAQEFAASC", "x.conf:1: expected KEY = VALUE"},
      {"c2VjcmV0+/c2VjcmV0==", "x.conf:1: unknown setting; k2r record --help"}};
  for (const auto& [text, message] : rows) {
    Settings settings;
    const auto read = [&settings, lines = text] { settings.readText(lines, "x.conf"); };
    EXPECT_THAT(read, testing::ThrowsMessage<UsageError>(
                          testing::AllOf(testing::StartsWith(message), testing::Not(testing::HasSubstr("c2V")))));
  }
}

TEST(Settings, AssignmentsKeepTheValueAsItIs) {
  Settings settings;
  settings.assign("Recording/VantryV2/ContentID= 1=2");
  EXPECT_EQ(valueOf(settings, "Recording/VantryV2/ContentID"), " 1=2");
  for (const char* const bad : {"Recording/FragmentDuration", "", "=1", " k2r/EnableAggMsgs=true", "Recording=1"}) {
    EXPECT_THROW(settings.assign(bad), UsageError) << bad;
  }
}

/// What the module reads of the settings, by its own readers.
double numberInModule(const Settings& settings, const SettingInfo& setting) {
  OpenContext context(settings);
  const ruvo::k2r::RecordingSettings reader(context);
  const std::string key(setting.key);
  if (setting.kind == SettingKind::kBoolean) return reader.readBool(key.c_str(), false) ? 1 : 0;
  return setting.kind == SettingKind::kDecimal ? reader.readDouble(key.c_str(), -1)
                                               : reader.readUnsigned(key.c_str(), 99);
}

TEST(Settings, TakeOnlyWhatTheModuleReadsAsItIsMeant) {
  const std::tuple<const char*, std::vector<const char*>, std::vector<std::pair<const char*, double>>> rows[] = {
      {"Recording/FragmentDuration",
       {"0", "", " 1", "1 ", "-1", "+1", "4s", "0x10", "1e3", "4.0", "4294967296"},
       {{"1", 1}, {"007", 7}, {"4294967295", 4294967295.0}}},
      {"Recording/FrameRate",
       {"", "-1", "-0", "nan", "inf", "1001", "25fps", "2,5", "1e400", " 25"},
       {{"29.97", 29.97}, {".5", 0.5}, {"25.", 25}, {"1e2", 100}, {"0", 0}, {"30000e-3", 30}}},
      {"Recording/IsProtected", {"1", "yes", "", "true "}, {{"true", 1}, {"TRUE", 1}, {"False", 0}}},
      {"Recording/VantryV2/VideoEncryptLevel", {"3", "-1"}, {{"0", 0}, {"2", 2}}},
      {"k2r/EnableAggMsgs", {"0", "on"}, {{"FALSE", 0}, {"true", 1}}},
      {"k2r/MaxEraseRetries", {"-5", "2x", "99999999999"}, {{"0", 0}, {"10", 10}}}};
  for (const auto& [key, refused, accepted] : rows) {
    Settings settings;
    for (const char* const value : refused) {
      const std::string assignment = fmt::format("{}={}", key, value);
      EXPECT_THAT([&] { settings.assign(assignment); },
                  testing::ThrowsMessage<UsageError>(testing::StartsWith(fmt::format("{} = '{}': exp", key, value))));
    }
    for (const auto& [value, number] : accepted) {
      settings.assign(fmt::format("{}={}", key, value));
      EXPECT_EQ(numberInModule(settings, *findSetting(key)), number) << key << " = " << value;
    }
  }
}

TEST(Settings, HaveTheDefaultsOfTheModuleAndAreInTheReadme) {
  const std::string readme = test::readWholeFile(K2R_README);
  Settings none, all;
  for (const SettingInfo& setting : knownSettings()) {
    const auto row = fmt::format("| `{}` | {} | {} |\n", setting.key, setting.fallback, describe(setting));
    EXPECT_NE(readme.find(row), std::string::npos) << row;
    if (!setting.fallback.empty()) all.assign(fmt::format("{}={}", setting.key, setting.fallback));
  }
  OpenContext noContext(none), allContext(all);
  EXPECT_EQ(ruvo::k2r::readFragmentationConfig(allContext), ruvo::k2r::readFragmentationConfig(noContext));
}

TEST(Settings, AreCompleteBeforeTheModuleHasThem) {
  const test::TempDirectory directory;
  test::writeWholeFile(directory.file("key"), "0123456789abcdef");
  const std::string rate = "Recording/FrameRate = 25\nRecording/FramesPerKeyframeInterval = ";
  const std::string secret =
      "Recording/IsProtected = True\nRecording/VantryV2/ContentID = x\nRecording/VantryV2/CommonKeyPath = ";
  const std::pair<std::string, const char*> rows[] = {
      {"Recording/FrameRate = 25", "Recording/FramesPerKeyframeInterval has to be 1 or more"},
      {rate + "50\nRecording/FramePrecision = 0", "Recording/FramePrecision has to be 1 or more"},
      {rate + "4294967295", "make fragments of"},
      {"Recording/FrameRate = 1e-9\nRecording/FramesPerKeyframeInterval = 1", "make fragments of"},
      {"Recording/IsProtected = true", "Recording/VantryV2/ContentID is needed with Recording/IsProtected = true"},
      {secret + directory.file("none"), "none': the file cannot be read: No such file or directory"},
      {secret + directory.file("key"), "Recording/VantryV2/LicenseServerURL is needed"}};
  for (const auto& [text, error] : rows) {
    Settings settings;
    settings.readText(text, "x.conf");
    EXPECT_THAT([&] { settings.requireComplete(); }, testing::ThrowsMessage<UsageError>(testing::HasSubstr(error)));
  }
  Settings settings;
  settings.readText(rate + "50\nRecording/VantryV2/PolicyPath = a\\b\nk2r/EnableAggMsgs = FALSE\n", "x.conf");
  EXPECT_NO_THROW(settings.requireComplete());
  EXPECT_EQ(valueOf(settings, "Recording/VantryV2/PolicyPath"), "a/b");
  EXPECT_EQ(valueOf(settings, "k2r/EnableAggMsgs"), "false") << "the adaptor compares letter by letter";
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
