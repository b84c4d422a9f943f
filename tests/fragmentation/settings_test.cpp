#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/RecordingSettings.h"
#include "tests/support/TestHost.h"
#include "util/QVSException.h"

namespace {

using ruvo::k2r::FragmentationConfig;
using ruvo::k2r::readFragmentationConfig;
using ruvo::k2r::RecordingSettings;

/// Answers by a rule of the test and notes the sizes of the buffers that it was given.
class RuledContext final : public IMOStreamOpenContext {
 public:
  using Rule = std::function<std::int32_t(char* buffer, std::uint32_t size)>;
  explicit RuledContext(Rule rule) : rule_(std::move(rule)) {}

  std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) override {
    EXPECT_STREQ(section, "recording");
    EXPECT_STREQ(key, "Recording/Key");
    sizes.push_back(size);
    return rule_(buffer, size);
  }

  std::vector<std::uint32_t> sizes;

 private:
  Rule rule_;
};

std::string read(RuledContext& context) {
  return RecordingSettings(context).readString("Recording/Key", "absent");
}

TEST(RecordingSettings, AskAgainWithOneMoreThanIsNeeded) {
  std::uint32_t needed = 2000;
  RuledContext growing([&](char* buffer, std::uint32_t size) -> std::int32_t {
    if (size < 4000) return static_cast<std::int32_t>(std::exchange(needed, 5000));
    std::strcpy(buffer, "at last");
    return 0;
  });
  EXPECT_EQ(read(growing), "at last");
  EXPECT_EQ(growing.sizes, (std::vector<std::uint32_t>{1024, 2001, 5001}));
}

TEST(RecordingSettings, CountAKeyAsAbsentThatTheHostNeverHandsOver) {
  const std::tuple<const char*, RuledContext::Rule, std::size_t> rows[] = {
      {"no such key", [](char*, std::uint32_t) { return -1; }, 1},
      {"gone when asked again", [](char*, std::uint32_t size) { return size == 1024 ? 2000 : -1; }, 2},
      {"failing when asked again", [](char*, std::uint32_t size) { return size == 1024 ? 2000 : -2; }, 2},
      {"always longer", [](char*, std::uint32_t size) { return static_cast<std::int32_t>(size + 1); }, 100},
      {"always the same", [](char*, std::uint32_t) { return 1500; }, 100},
      {"absurdly long", [](char*, std::uint32_t) { return 0x7FFFFFFF; }, 1},
      {"a little too long", [](char*, std::uint32_t) { return 1024 * 1024 + 1; }, 1},
  };
  for (const auto& [what, rule, mostCalls] : rows) {
    RuledContext context(rule);
    EXPECT_EQ(read(context), "absent") << what;
    EXPECT_LE(context.sizes.size(), mostCalls) << what;
  }
}

TEST(RecordingSettings, EndAValueThatTheHostDoesNotEnd) {
  RuledContext context([](char* buffer, std::uint32_t size) {
    std::memset(buffer, 'x', size);
    return 0;
  });
  EXPECT_EQ(read(context), std::string(1024, 'x'));
}

/// A host with this value of the key, and none of any other.
test::TestHost hostWith(const std::string& value) {
  test::TestHost host(nullptr);
  host.settings["Recording/Key"] = value;
  return host;
}

TEST(RecordingSettings, TakeAValueOfAnyLength) {
  for (const std::size_t length : {0U, 1U, 1023U, 1024U, 5000U, 1024U * 1024U}) {
    auto host = hostWith(std::string(length, 'x'));
    EXPECT_EQ(RecordingSettings(host).readString("Recording/Key", "absent"), std::string(length, 'x')) << length;
  }
}

TEST(RecordingSettings, ReadUnsignedNumbers) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"0", 0}, {"4000", 4000}, {"+7", 7}, {"007", 7}, {"4294967295", 0xFFFFFFFF}, {"-1", 0xFFFFFFFF}};
  for (const auto& [text, number] : rows) {
    auto host = hostWith(text);
    EXPECT_EQ(RecordingSettings(host).readUnsigned("Recording/Key", 5), number) << text;
    EXPECT_EQ(RecordingSettings(host).readUnsigned("Recording/Other", 5), 5U);
  }
}

TEST(RecordingSettings, RefuseWhatIsNoNumber) {
  for (const char* text : {"", " 4000", "4000 ", "4000ms", "4e3", "0x10", "4294967296", "4000.0"}) {
    auto host = hostWith(text);
    EXPECT_THROW(RecordingSettings(host).readUnsigned("Recording/Key", 5), boost::bad_lexical_cast) << text;
  }
  for (const char* text : {"", " 1.5", "1.5 ", "1,5", "fast"}) {
    auto host = hostWith(text);
    EXPECT_THROW(RecordingSettings(host).readDouble("Recording/Key", 5), boost::bad_lexical_cast) << text;
  }
}

TEST(RecordingSettings, ReadTruthInAnyCase) {
  const std::pair<const char*, bool> rows[] = {{"true", true}, {"TRUE", true}, {"tRuE", true},   {"1", false},
                                               {"", false},    {"yes", false}, {"true ", false}, {"false", false}};
  for (const auto& [text, truth] : rows) {
    auto host = hostWith(text);
    EXPECT_EQ(RecordingSettings(host).readBool("Recording/Key", true), truth) << text;
    EXPECT_EQ(RecordingSettings(host).readBool("Recording/Other", truth), truth);
  }
}

/// From settings in a line: "FrameRate=25 FramePrecision=2".
FragmentationConfig configOf(const std::string& settings) {
  test::TestHost host(nullptr);
  std::istringstream in(settings);
  for (std::string setting; in >> setting;) {
    const auto equals = setting.find('=');
    host.settings["Recording/" + setting.substr(0, equals)] = setting.substr(equals + 1);
  }
  return readFragmentationConfig(host);
}

TEST(FragmentationConfig, IsReadFromTheSettings) {
  const FragmentationConfig byDefault = {4000, 100.0, 1000};
  const struct {
    const char* what;
    FragmentationConfig config;
    const char* settings;
  } rows[] = {
      {"no key", byDefault, ""},
      {"durations", {2000, 40.0, 0}, "FragmentDuration=2000 DurationPrecision=40 AllowedDrift=0"},
      {"no frame rate: the frames are not judged", byDefault,
       "FrameRate=0 FramesPerKeyframeInterval=0 FramePrecision=-1"},
      {"a negative frame rate", byDefault, "FrameRate=-25"},
      {"no number for a frame rate", byDefault, "FrameRate=nan"},
      {"frames override", {2000, 40.0, 1000}, "FrameRate=25 FramesPerKeyframeInterval=50 FragmentDuration=7000"},
      {"frames are cut to whole numbers",
       {3000, 200.0, 1000},
       "FrameRate=10 FramesPerKeyframeInterval=10.9 KeyframeIntervalsPerFragment=3.9 FramePrecision=2.9"},
      {"infinite counts are as large as can be",
       {0xFFFFFFFF, 4294967295.0, 1000},
       "FrameRate=1000 FramesPerKeyframeInterval=inf FramePrecision=1e300"},
      {"low bits of a large count", {1000, 1.0, 1000}, "FrameRate=1000 FramesPerKeyframeInterval=4294968296"},
      {"the product keeps 32 bits",
       {32768, 0.5, 1000},
       "FrameRate=2000 FramesPerKeyframeInterval=65537 KeyframeIntervalsPerFragment=65536"},
      {"broadcast rates in double precision",
       {4004, 1.0 * (1.0 / 29.97) * 1000.0, 1000},
       "FrameRate=29.97 FramesPerKeyframeInterval=60 KeyframeIntervalsPerFragment=2"},
  };
  for (const auto& row : rows) EXPECT_EQ(configOf(row.settings), row.config) << row.what;
}

TEST(FragmentationConfig, RefusesSettingsThatGiveNoDuration) {
  constexpr char kNoDuration[] = "invalid fragment duration specified";
  constexpr char kNoInterval[] = "no value specified for frames-per-keyframe-interval";
  const struct {
    const char *settings, *message;
  } rows[] = {
      {"FragmentDuration=0", kNoDuration},
      {"FragmentDuration=0 FrameRate=25 FramesPerKeyframeInterval=50", kNoDuration},
      {"DurationPrecision=0", "invalid duration precision specified"},
      {"FrameRate=inf", "invalid frame rate specified"},
      {"FrameRate=25", kNoInterval},
      {"FrameRate=25 FramesPerKeyframeInterval=0.5", kNoInterval},
      {"FrameRate=25 FramesPerKeyframeInterval=nan", kNoInterval},
      {"FrameRate=25 FramesPerKeyframeInterval=-1e300", kNoInterval},
      {"FrameRate=25 FramesPerKeyframeInterval=50 KeyframeIntervalsPerFragment=0.9",
       "no value specified for keyframe-intervals-per-fragment"},
      {"FrameRate=25 FramesPerKeyframeInterval=50 FramePrecision=0", "no value specified for frame precision"},
      {"FrameRate=1e9 FramesPerKeyframeInterval=50", kNoDuration},
      {"FrameRate=25 FramesPerKeyframeInterval=65536 KeyframeIntervalsPerFragment=65536", kNoDuration},
  };
  for (const auto& row : rows)
    EXPECT_THAT([&] { configOf(row.settings); }, testing::ThrowsMessage<qvs::QVSException>(row.message))
        << row.settings;
}

TEST(FragmentationConfig, PassesOnWhatIsNoNumber) {
  EXPECT_THROW(configOf("FragmentDuration=4000ms"), boost::bad_lexical_cast);
  EXPECT_THROW(configOf("FramePrecision=one"), boost::bad_lexical_cast);
}

}  // namespace
