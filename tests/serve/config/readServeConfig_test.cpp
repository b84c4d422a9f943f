// The configuration of `k2r serve`.

#include "host/serve/config/readServeConfig.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <chrono>
#include <regex>

#include "host/serve/config/ConfigError.h"
#include "host/serve/config/RecordingKeys.h"
#include "host/settingsTable.h"
#include "tests/host/hostTools.h"

namespace host::serve {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

class ReadServeConfig : public testing::Test {
 protected:
  std::string file(const std::string& name, const std::string& content) const {
    test::writeWholeFile(directory_.file(name), content);
    std::filesystem::permissions(directory_.file(name), std::filesystem::perms(0600));
    return directory_.file(name);
  }
  ServeConfig read(const std::string& content) { return readServeConfig(file("k2r.toml", content), &log_.log()); }
  /// What is reported of the file, without its name.
  std::vector<std::string> faultsOf(const std::string& content) {
    std::vector<std::string> faults;
    try {
      read(content);
    } catch (const ConfigError& error) {
      for (const auto& [place, key, text] : error.findings()) {
        faults.push_back(fmt::format("{}:{}: {}: {}", place.line, place.column, key, text));
      }
    }
    return faults;
  }

  const test::TempDirectory directory_;
  test::LogCapture log_;
};

TEST_F(ReadServeConfig, TakesEveryKey) {
  file("token", "0123456789abcdef\n");
  file("cam.source", " rtsp://u:p@cam/live \n");
  const ServeConfig config = read(R"(
[server]
listen = "[::]:81"
token_file = "token"
read_token = false
allow_origins = ["https://a.example", "http://[::1]:8080"]
[storage]
root = "/rec/"
rotate = "1h"
keep_for = "7d"
keep_bytes = "500GiB"
keep_free = "10GB"
durability = "process"
hook_parallel = 2
hook_timeout = "0"
[recording]
fragment_duration = "2s"
encrypt_audio = false
max_gap = "90m"
[[stream]]
name = "cam1"
source = "udp://h:1"
[[stream]]
name = "cam_2"
source_file = "cam.source"
input_options = { rtsp_transport = "tcp", timeout = 5, listen = true }
enabled = false
recording = { fragment_duration = "500ms", frame_rate = 0.0, stall_timeout = "0", max_queue = "1M" }
on_recording = ["cp", "-r", "{dir}", "/b/{stream}-{name}"]
root = "own"
rotate = "0"
keep_for = "30d"
keep_bytes = "1KB"
durability = "device"
)");
  EXPECT_EQ(config.listenAddress, "::");
  EXPECT_EQ(config.listenPort, 81);
  EXPECT_EQ(config.tokenFile, directory_.file("token"));
  EXPECT_FALSE(config.readToken);
  EXPECT_THAT(config.allowOrigins, ElementsAre("https://a.example", "http://[::1]:8080"));
  EXPECT_EQ(config.root, "/rec");
  EXPECT_EQ(config.keep, (KeepLimits{.age = 7 * 24h, .bytes = std::uint64_t{500} << 30}));
  EXPECT_EQ(config.keepFree, 10'000'000'000U);
  EXPECT_EQ(config.hookParallel, 2U);
  EXPECT_EQ(config.hookTimeout, std::nullopt);
  const StreamConfig first{.name = "cam1",
                           .source = "udp://h:1",
                           .settings = {"Recording/FragmentDuration=2000", "Recording/VantryV2/EncryptAudio=false"},
                           .root = "/rec",
                           .rotate = 1h,
                           .keep = {.age = 7 * 24h},
                           .durability = Durability::kProcess,
                           .maxGap = 90min};
  const StreamConfig second{
      .name = "cam_2",
      .source = "rtsp://u:p@cam/live",
      .inputOptions = {"listen=true", "rtsp_transport=tcp", "timeout=5"},
      .settings = {"Recording/FragmentDuration=500", "Recording/FrameRate=0", "Recording/VantryV2/EncryptAudio=false"},
      .enabled = false,
      .root = directory_.file("own"),
      .keep = {.age = 30 * 24h, .bytes = 1000},
      .onRecording = {"cp", "-r", "{dir}", "/b/{stream}-{name}"},
      .stallTimeout = 0ms,
      .maxGap = 90min,
      .maxQueue = 1 << 20};
  EXPECT_THAT(config.streams, ElementsAre(first, second));
  EXPECT_EQ(log_.text(), "");
}

TEST_F(ReadServeConfig, HasDefaults) {
  const ServeConfig config = read("[server]\nlisten = \"\"\n[[stream]]\nname = 'a'\nsource = 'b'\n");
  EXPECT_EQ(config.listenAddress, "");
  EXPECT_THAT(config.streams,
              ElementsAre(StreamConfig{.name = "a", .source = directory_.file("b"), .root = "/var/lib/k2r"}));
}

TEST_F(ReadServeConfig, ReportsAllThatIsWrongAtOnce) {
  EXPECT_THAT(
      faultsOf(R"(lissten = 1
[server]
listen = "0.0.0.0:80"
read_tokn = true
[storage]
rotate = 3600
keep_bytes = "5 apples"
hook_parallel = 0
[recording]
fragment_duraton = "4s"
frame_rate = 2000
[[stream]]
name = "Cam"
source = "rtsp://u:secret@h"
source_file = "x"
[[stream]]
name = "b"
recording = { fragment_duration = "0", stall_timeout = "5" }
on_recording = ["cp", "{nane}"]
keep_free = "1G"
[[stream]]
name = "b"
source = ""
rotate = "10ms"
)"),
      ElementsAre("1:1: lissten: unknown key",
                  HasSubstr("3:10: server.listen: 0.0.0.0 can be reached from other machines"),
                  "4:1: server.read_tokn: unknown key; did you mean read_token?",
                  "6:10: storage.rotate: expected a text in quotes, not a whole number",
                  HasSubstr("7:14: storage.keep_bytes: \"5 apples\" is no size"),
                  "8:17: storage.hook_parallel: expected a whole number from 1 to 1000",
                  "10:1: recording.fragment_duraton: unknown key; did you mean fragment_duration?",
                  "11:14: recording.frame_rate: '2000': expected a number from 0 to 1000",
                  "13:8: stream[1].name: expected 1 to 64 of a to z, 0 to 9, _ and -",
                  "14:10: stream[1].source: source and source_file exclude each other",
                  HasSubstr("15:15: stream[1].source_file: cannot read"), "16:1: stream.b.source: is missing",
                  "18:35: stream.b.recording.fragment_duration: expected a length of time from 1ms to 4294967295ms",
                  HasSubstr("18:56: stream.b.recording.stall_timeout: \"5\" is no length of time"),
                  "19:16: stream.b.on_recording: {nane} is unknown; did you mean {name}?",
                  "20:13: stream.b.keep_free: belongs into [storage]: it is for all streams together",
                  "22:8: stream.b.name: an earlier stream has this name", "23:10: stream.b.source: is empty",
                  "24:10: stream.b.rotate: expected 1s or more, or \"0\" for never"));
}

TEST_F(ReadServeConfig, SaysWhatIsWrongWithAValue) {
  const std::string stream = "\n[[stream]]\nname = 'a'\nsource = 'b'\n";
  const std::pair<std::string, const char*> rows[] = {
      {"a = ", "1:"},
      {"[server]\nlisten = 'localhost:80'", "2:10: server.listen: \"localhost:80\" is no address"},
      {"[server]\nlisten = ':80'", "2:10: server.listen: \":80\" is no address"},
      {"[server]\nlisten = '127.0.0.1:65536'", "2:10: server.listen:"},
      {"[server]\nread_token = true", "2:14: server.read_token: needs token_file"},
      {"[server]\nallow_origins = ['https://a/']", "2:17: server.allow_origins: \"https://a/\" is no origin"},
      {"[server]\nallow_origins = ['*']", "2:17: server.allow_origins: \"*\" is no origin"},
      {"[server]\nallow_origins = 'https://a'", "2:17: server.allow_origins: expected a list of texts"},
      {"server = 1", "1:10: server: expected a table, not a whole number"},
      {"stream = 'x'", "1:10: stream: expected a table with the heading [[stream]] for each"},
      {stream + "root = '/var/lib/k2r/a'", "5:8: stream.a.root: '/var/lib/k2r/a' is inside '/var/lib/k2r'"},
      {stream + "input_options = { a = [] }", "5:23: stream.a.input_options.a: expected one value, not a list"},
      {stream + "enabled = 1", "5:11: stream.a.enabled: expected true or false, not a whole number"},
      {"[recording]\nmax_gap = '0'", "2:11: recording.max_gap: expected a length of time above 0"},
      {"[recording]\nframe_rate = 25" + stream, "2:14: recording.frame_rate: frames_per_keyframe_interval has to be 1"},
      {stream + "recording = { is_protected = true }",
       "5:30: stream.a.recording.is_protected: content_id is needed with is_protected = true"},
      {"[recording]\nis_protected = true" + stream + "recording = {}",
       "6:13: stream.a.recording: content_id is needed"},
      {"[storage]\nroot = \"/a\\u0000b\"", "2:8: storage.root: contains a control character"},
      {std::string(9000, 'a') + " = 1", "1:8193: : a line has at most 8192 bytes"}};
  for (const auto& [text, fault] : rows) {
    const auto faults = faultsOf(text);
    ASSERT_FALSE(faults.empty()) << text;
    EXPECT_THAT(faults.front(), testing::StartsWith(fault)) << text;
  }
}

TEST_F(ReadServeConfig, ChecksFilesWithSecretsWithoutShowingThem) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"short", "123456789012345", "has at least 16 characters"},
      {"spaces", "correct horse battery staple", "is ASCII without spaces"},
      {"two lines", "0123456789abcdef\nx", "is not one line"},
      {"nothing", " \n", "is empty"}};
  for (const auto& [name, content, text] : rows) {
    file(name, content);
    const auto faults = faultsOf(fmt::format("[server]\ntoken_file = '{}'\n", name));
    ASSERT_EQ(faults.size(), 1U) << name;
    EXPECT_THAT(faults[0], testing::AllOf(testing::StartsWith("2:14: server.token_file:"), HasSubstr(text),
                                          testing::Not(HasSubstr("horse"))));
  }
}

TEST_F(ReadServeConfig, WarnsOfSecretsThatAllUsersCanRead) {
  file("token", "0123456789abcdef");
  std::filesystem::permissions(directory_.file("token"), std::filesystem::perms(0644));
  read("[server]\ntoken_file = 'token'\n[[stream]]\nname = 'a'\nsource = 'b'\n");
  EXPECT_THAT(log_.text(), HasSubstr("token' contains a secret and can be read by all users"));
  const std::string path = file("k2r.toml", "[[stream]]\nname = 'a'\nsource = 'rtsp://u:p@h'\n");
  std::filesystem::permissions(path, std::filesystem::perms(0644));
  readServeConfig(path, &log_.log());
  EXPECT_THAT(log_.text(), HasSubstr("k2r.toml' contains a secret and can be read by all users"));
}

TEST_F(ReadServeConfig, SpellsEachSettingInItsOwnWay) {
  std::set<std::string> words{"stall_timeout", "max_gap", "max_queue"};
  for (const SettingInfo& setting : knownSettings()) EXPECT_TRUE(words.insert(settingWord(setting.key)).second);
  EXPECT_EQ(settingWord("Recording/VantryV2/LicenseServerURL"), "license_server_url");
  EXPECT_EQ(settingWord("Recording/VantryV2/ContentID"), "content_id");
  EXPECT_EQ(settingWord("k2r/EnableAggMsgs"), "enable_agg_msgs");
}

TEST_F(ReadServeConfig, AcceptsTheFileOfThePackage) {
  const std::string text = test::readWholeFile(K2R_EXAMPLE_CONFIG);
  file("token", "0123456789abcdef");
  EXPECT_EQ(read(text).keep.age, 7 * 24h);
  // The stream is a comment, and so are all other keys. A file with the source excludes the source.
  std::string all = std::regex_replace(text, std::regex("\n# (\\[\\[stream\\]\\]|[a-z_]+ = )"), "\n$1");
  all = std::regex_replace(all, std::regex("\nsource_file[^\n]*"), "");
  const ServeConfig config = read(all);
  ASSERT_EQ(config.streams.size(), 1U);
  EXPECT_EQ(config.streams[0].onRecording.size(), 4U);
  EXPECT_EQ(config.streams[0].root, "/srv/cam1");
  EXPECT_EQ(config.streams[0].settings.size(), 2U);
}

}  // namespace
}  // namespace host::serve
