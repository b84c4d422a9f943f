// The settings of a recording, and what is made of those that protect it.

#include <bit>
#include <boost/lexical_cast.hpp>
#include <cstring>

#include "fragmentation/AdditionalHeader.h"
#include "fragmentation/EncryptorContext.h"
#include "fragmentation/EncryptorContextException.h"
#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/K2RUtilException.h"
#include "fragmentation/ProtectionMetadata.h"
#include "fragmentation/RecordingSettings.h"
#include "fragmentation/base64.h"
#include "fragmentation/loadFile.h"
#include "tests/support/Amf0.h"
#include "tests/support/FakeLibrary.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"
#include "util/QVSException.h"
#include "wrappers/rkx/RKXException.h"

namespace {

using namespace test;
using namespace ruvo::k2r;

/// Returns by a rule of the test and notes the sizes of the buffers that it was given.
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
      {"failing when asked again", [](char*, std::uint32_t size) { return size == 1024 ? 2000 : -2; }, 2},
      {"always longer", [](char*, std::uint32_t size) { return static_cast<std::int32_t>(size + 1); }, 100},
      {"always the same", [](char*, std::uint32_t) { return 1500; }, 100},
      {"absurdly long", [](char*, std::uint32_t) { return 0x7FFFFFFF; }, 1}};
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

/// Of a host with one value.
struct OneSetting : testing::Test {
  const RecordingSettings& with(const std::string& value) {
    host.settings["Recording/Key"] = value;
    return settings;
  }

  TestHost host{nullptr};
  RecordingSettings settings{host};
};

TEST_F(OneSetting, IsAnUnsignedNumberOrRefused) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"0", 0}, {"4000", 4000}, {"+7", 7}, {"007", 7}, {"4294967295", 0xFFFFFFFF}, {"-1", 0xFFFFFFFF}};
  for (const auto& [text, number] : rows) EXPECT_EQ(with(text).readUnsigned("Recording/Key", 5), number) << text;
  EXPECT_EQ(settings.readUnsigned("Recording/Other", 5), 5U);
  for (const char* text : {"", " 4000", "4000 ", "4000ms", "4e3", "0x10", "4294967296", "4000.0"})
    EXPECT_THROW(with(text).readUnsigned("Recording/Key", 5), boost::bad_lexical_cast) << text;
  for (const char* text : {"", " 1.5", "1.5 ", "1,5", "fast"})
    EXPECT_THROW(with(text).readDouble("Recording/Key", 5), boost::bad_lexical_cast) << text;
}

TEST_F(OneSetting, IsTrueInAnyCase) {
  const std::pair<const char*, bool> rows[] = {
      {"true", true}, {"tRuE", true}, {"1", false}, {"", false}, {"true ", false}};
  for (const auto& [text, truth] : rows) {
    EXPECT_EQ(with(text).readBool("Recording/Key", true), truth) << text;
    EXPECT_EQ(settings.readBool("Recording/Other", truth), truth);
  }
}

/// From settings in a line: "FrameRate=25 FramePrecision=2".
FragmentationConfig configOf(const std::string& settings) {
  TestHost host(nullptr);
  std::istringstream in(settings);
  for (std::string setting; in >> setting;) {
    const auto equals = setting.find('=');
    host.settings["Recording/" + setting.substr(0, equals)] = setting.substr(equals + 1);
  }
  return readFragmentationConfig(host);
}

TEST(FragmentationConfig, IsReadFromTheSettings) {
  const FragmentationConfig byDefault = {4000, 100.0, 1000};
  const std::tuple<const char*, FragmentationConfig, const char*> rows[] = {
      {"no key", byDefault, ""},
      {"durations", {2000, 40.0, 0}, "FragmentDuration=2000 DurationPrecision=40 AllowedDrift=0"},
      {"no frame rate: the frames are not judged", byDefault,
       "FrameRate=0 FramesPerKeyframeInterval=0 FramePrecision=-1"},
      {"frames override", {2000, 40.0, 1000}, "FrameRate=25 FramesPerKeyframeInterval=50 FragmentDuration=7000"},
      {"frames are cut to whole numbers",
       {3000, 200.0, 1000},
       "FrameRate=10 FramesPerKeyframeInterval=10.9 KeyframeIntervalsPerFragment=3.9 FramePrecision=2.9"},
      {"infinite counts are as large as can be",
       {0xFFFFFFFF, 4294967295.0, 1000},
       "FrameRate=1000 FramesPerKeyframeInterval=inf FramePrecision=1e300"},
      {"the product keeps 32 bits",
       {32768, 0.5, 1000},
       "FrameRate=2000 FramesPerKeyframeInterval=65537 KeyframeIntervalsPerFragment=65536"},
      {"broadcast rates in double precision",
       {4004, 1.0 * (1.0 / 29.97) * 1000.0, 1000},
       "FrameRate=29.97 FramesPerKeyframeInterval=60 KeyframeIntervalsPerFragment=2"}};
  for (const auto& [what, config, settings] : rows) EXPECT_EQ(configOf(settings), config) << what;
}

TEST(FragmentationConfig, RefusesSettingsThatGiveNoDuration) {
  constexpr char kNoDuration[] = "invalid fragment duration specified";
  constexpr char kNoInterval[] = "no value specified for frames-per-keyframe-interval";
  const std::pair<const char*, const char*> rows[] = {
      {"FragmentDuration=0", kNoDuration},
      {"DurationPrecision=0", "invalid duration precision specified"},
      {"FrameRate=inf", "invalid frame rate specified"},
      {"FrameRate=25", kNoInterval},
      {"FrameRate=25 FramesPerKeyframeInterval=nan", kNoInterval},
      {"FrameRate=25 FramesPerKeyframeInterval=50 KeyframeIntervalsPerFragment=0.9",
       "no value specified for keyframe-intervals-per-fragment"},
      {"FrameRate=25 FramesPerKeyframeInterval=50 FramePrecision=0", "no value specified for frame precision"},
      {"FrameRate=25 FramesPerKeyframeInterval=65536 KeyframeIntervalsPerFragment=65536", kNoDuration}};
  for (const auto& [settings, message] : rows)
    EXPECT_THAT([given = settings] { configOf(given); }, testing::ThrowsMessage<qvs::QVSException>(message))
        << settings;
}

/// Settings of a protected recording; each value and each file is its own name.
struct Protected {
  Protected() {
    for (const char* key : {"ContentID", "LicenseServerURL", "PackagerCredentialPwd"}) set(key, key);
    for (const char* key :
         {"CommonKeyPath", "TransportCertPath", "LicenseServerCertPath", "PackagerCredentialPath", "PolicyPath"}) {
      writeWholeFile(files.path() / key, key);
      set(key, files.file(key));
    }
  }
  void set(const std::string& key, const std::string& value) { host.settings["Recording/VantryV2/" + key] = value; }
  EncryptorContext read() { return readEncryptorContext(host); }

  TempDirectory files;
  TestHost host{nullptr};
};

TEST(EncryptorContext, HasTheOptionsInTheLibrarysOrder) {
  const std::tuple<const char*, const char*, std::array<std::uint32_t, 5>> rows[] = {
      {"EncryptVideo", "false", {0, 1, 1, 2, 0}},
      {"EncryptAudio", "no", {1, 0, 1, 2, 0}},
      {"EncryptData", "", {1, 1, 0, 2, 0}},
      {"VideoEncryptLevel", "1", {1, 1, 1, 1, 0}}};
  for (const auto& [key, value, words] : rows) {
    Protected recording;
    recording.set(key, value);
    EXPECT_EQ(std::bit_cast<decltype(words)>(recording.read().encryptionOptions()), words) << key;
  }
}

TEST(EncryptorContext, FailsAtTheFirstThatIsMissing) {
  // The last that is read comes first, so that each row finds what those above it left missing.
  const std::pair<const char*, const char*> rows[] = {
      {"PolicyPath", "no policy specified"},
      {"PackagerCredentialPwd", "no packager credential password specified"},
      {"PackagerCredentialPath", "no packager credential specified"},
      {"LicenseServerCertPath", "no license server certificate specified"},
      {"TransportCertPath", "no transport certificate specified"},
      {"LicenseServerURL", "no license server URL specified"},
      {"CommonKeyPath", "no common key specified"},
      {"ContentID", "no content ID specified"}};
  Protected recording;
  recording.set("VideoEncryptLevel", "3");
  const auto read = [&recording] { recording.read(); };
  EXPECT_THAT(read, testing::ThrowsMessage<qvs::QVSException>("invalid video encryption level; must 0, 1 or 2"));
  for (const auto& [key, message] : rows) {
    const std::string path = recording.files.file(key);
    if (std::filesystem::remove(path)) {
      EXPECT_THAT(read, testing::ThrowsMessage<CantOpenFileException>("Error (2) - Cannot open file '" + path + "'"));
    }
    recording.set(key, "");
    EXPECT_THAT(read, testing::ThrowsMessage<qvs::k2r::EncryptorContextException>(message));
  }
}

TEST(LoadFile, TakesTheWholeContent) {
  TempDirectory files;
  for (const std::size_t size : {0U, 1U, 1024U, 5000U, 1U << 20}) {
    std::string content;
    for (std::size_t i = 0; i < size; ++i) content += static_cast<char>(i * 7 + i / 256);
    writeWholeFile(files.path() / "file", content);
    EXPECT_EQ(hex(loadFile(files.file("file")).bytes()), hex(content)) << size;
    EXPECT_EQ(loadFile(modulePath(files.path() / "file")).size(), size) << "a path with backslashes";
  }
}

TEST(LoadFile, RefusesWhatIsNoSmallFile) {
  TempDirectory files;
  EXPECT_THROW(loadFile(files.file("none")), CantOpenFileException);
  EXPECT_THROW(loadFile(files.path().string()), K2RUtilFileException) << "a directory";
  EXPECT_THROW(loadFile("/dev/zero"), K2RUtilFileException) << "a file without end";
}

TEST(ProtectionMetadata, AreTheLibrarysBlockOfAllSettingsAndFiles) {
  Protected recording;
  recording.set("EncryptAudio", "false");
  FakeLibrary library;
  library.metadata = std::string("\0block\xff", 7);
  generateProtectionMetadata(recording.read());  // The first use of the library asks for its tables, too.
  library.calls.clear();
  EXPECT_EQ(hex(generateProtectionMetadata(recording.read()).bytes()), hex(library.metadata));
  EXPECT_THAT(library.calls, testing::ElementsAre("createEncryptor 'CommonKeyPath' 'ContentID' 1 0 1 2 0 1 0",
                                                  "createMetadata 'LicenseServerURL' 'TransportCertPath' "
                                                  "'LicenseServerCertPath' 'PackagerCredentialPath' "
                                                  "'PackagerCredentialPwd' 'PolicyPath' 0",
                                                  "metadataSize", "copyMetadata 7"));
  EXPECT_EQ(library.objects, 0);
}

TEST(Base64, IsPaddedAndInOneLine) {
  const std::pair<std::string, std::string> rows[] = {{"f", "Zg=="},
                                                      {"fo", "Zm8="},
                                                      {"\xfb\xef\xbe\xff\xff\xff", "++++////"},
                                                      {std::string(3000, '\0'), std::string(4000, 'A')}};
  for (const auto& [data, text] : rows) EXPECT_EQ(base64Encode(qvs::util::asBytes(data)), text);
}

TEST(AdditionalHeader, IsWrittenByteForByte) {
  test::Amf0 front;
  front.string("|AdditionalHeader").object().name("Encryption").object();
  front.name("Version").number(2).name("Method").string("Standard").name("Flags").number(0).name("Params").object();
  front.name("Version").number(1).name("EncryptionAlgorithm").string("AES-CBC");
  front.name("EncryptionParams").object().name("KeyLength").number(16).end();
  front.name("KeyInfo").object().name("subType").string("Vantryv2").name("VNRSV_METADATA").object().name("Metadata");
  const std::pair<const char*, std::string> rows[] = {
      {"02 0004", "QUJD"}, {"02 ffff", std::string(65535, 'A')}, {"0c 00010000", std::string(65536, 'A')}};
  for (const auto& [lengthImage, metadata] : rows) {
    std::ostringstream out;
    AdditionalHeader header;
    header.metadata = metadata;
    writeAdditionalHeader(out, header);
    EXPECT_EQ(hex(out.str()), hex(fromHex(front.hex() + lengthImage + hex(metadata) + Amf0().end(5).hex())));
  }
}

}  // namespace
