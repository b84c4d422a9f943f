// Protected recordings, and the way back: what unprotecting gives is what was recorded in the clear.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <unordered_set>

#include "host/exporting/RecordedTags.h"
#include "host/keys/keySet.h"
#include "host/unprotect/unprotectRecording.h"
#include "tests/endtoend/mediaTools.h"
#include "tests/host/LogCapture.h"
#include "tests/host/RecordingMaker.h"
#include "tests/host/commandRun.h"
#include "tests/host/tagStreams.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace {

namespace fs = std::filesystem;
using namespace test;
using host::ExitStatus;
using Settings = std::map<std::string, std::string>;

/// A set of keys, made once.
const TempDirectory& keys() {
  static const TempDirectory directory;
  static const bool made = k2r({"keys", "new", directory.path().string()}).status == 0;
  EXPECT_TRUE(made);
  return directory;
}

/// With the settings of a protected recording. `changes` are without the front that they have in common.
RecordingPlan protectedPlan(RecordingPlan plan, const Settings& changes = {}) {
  for (const auto& [key, value] : changes) plan.settings["Recording/VantryV2/" + key] = value;
  std::istringstream lines(readWholeFile(keys().path() / host::kKeySetSettings));
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find(" = ");
    if (equals != std::string::npos) plan.settings.emplace(line.substr(0, equals), line.substr(equals + 3));
  }
  return plan;
}

ExitStatus unprotect(const MadeRecording& secret, const std::string& output) {
  LogCapture capture;
  return host::unprotectRecording(
      {.directory = secret.directory(), .keyFile = keys().file("license-server.key"), .output = output}, capture.log());
}

/// Holds the unprotected recording against the clear one, byte for byte.
void expectTheSame(const MadeRecording& plain, const MadeRecording& secret) {
  const TempDirectory root;
  EXPECT_EQ(unprotect(secret, root.file("opened")), ExitStatus::kOk);
  expectSameFiles(plain, root.file("opened"));
  EXPECT_EQ(secret.verify().status(), ExitStatus::kOk);
}

void expectTheSame(const RecordingPlan& plan, const Settings& changes = {}) {
  expectTheSame(MadeRecording(plan), MadeRecording(protectedPlan(plan, changes)));
}

/// With tags that have less in them than their codec asks for.
std::vector<StreamMessage> withStubs(const std::vector<StreamMessage>& messages) {
  const StreamMessage stubs[] = {
      {9, 0, fromHex("17")},         {9, 0, fromHex("2702")}, {9, 0, fromHex("270100")}, {9, 0, fromHex("2701000000")},
      {9, 0, fromHex("1702000000")}, {8, 0, fromHex("af")},   {8, 0, fromHex("af01")},   {8, 0, fromHex("af010203")}};
  std::vector<StreamMessage> all;
  std::size_t next = 0;
  for (const StreamMessage& message : messages) {
    all.push_back(message);
    if (message.time < 500) continue;
    all.push_back(stubs[next++ % std::size(stubs)]);
    all.back().time = message.time;
  }
  return all;
}

struct ClearTag {
  host::TagContent content;
  std::string data;

  /// Whether a NAL unit of the frame has a nal_ref_idc that is not 0.
  bool isReference() const {
    qvs::util::ByteReader in(qvs::util::asBytes(data).subspan(5));
    while (in.remaining() > 0) {
      if ((in.bytes(in.u32()).front() & std::byte{0x60}) != std::byte{0}) return true;
    }
    return false;
  }
};

/// The tags of a clear recording.
std::vector<ClearTag> tagsOf(const std::string& recording) {
  std::vector<ClearTag> tags;
  const auto directory = host::readRecordingDirectory(recording);
  host::RecordedTags(directory).forEach({}, [&](const host::RecordedTag& tag) {
    tags.push_back({tag.content, textOf(tag.data)});
  });
  return tags;
}

/// What is encrypted.
struct Choice {
  bool audio = true;
  bool video = true;
  bool data = true;
  int level = 2;

  Settings settings() const {
    const auto flag = [](bool value) { return value ? "true" : "false"; };
    return {{"EncryptAudio", flag(audio)},
            {"EncryptVideo", flag(video)},
            {"EncryptData", flag(data)},
            {"VideoEncryptLevel", std::to_string(level)}};
  }
  bool covers(const ClearTag& tag) const {
    if (tag.content.isSequenceHeader()) return false;
    if (tag.content.isAudio()) return audio;
    if (!tag.content.isVideo()) return data;
    return video && (level == 2 || tag.content.isKeyFrame() || (level == 1 && tag.isReference()));
  }
};

/// A stream of frames that others refer to, and of B frames that none does.
const std::vector<StreamMessage>& clip() {
  static const std::vector<StreamMessage> messages = [] {
    const TempDirectory place;
    makeClip(
        "-f lavfi -i testsrc2=size=160x90:rate=25:duration=9 -f lavfi -i sine=duration=9 -c:v libx264 -pix_fmt yuv420p "
        "-preset ultrafast -bf 2 -b_strategy 0 -g 50 -c:a aac",
        place.file("clip.mp4"));
    return messagesOf(place.file("clip.mp4"));
  }();
  return messages;
}

/// Nothing that the choice covers stands in any file; what it does not cover stays readable.
void expectCovered(const MadeRecording& plain, const MadeRecording& secret, const Choice& choice) {
  constexpr std::size_t kWindow = 16;
  std::unordered_set<std::string_view> windows;
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(secret.directory())) {
    // The description beside the segments is in the clear, as any player needs it.
    if (!entry.path().string().ends_with(".meta")) files.push_back(readWholeFile(entry.path()));
  }
  for (const std::string_view file : files) {
    for (std::size_t at = 0; at + kWindow <= file.size(); ++at) windows.insert(file.substr(at, kWindow));
  }
  std::size_t covered = 0;
  for (const ClearTag& tag : tagsOf(plain.directory())) {
    const auto sample = std::string_view(tag.data).substr(*tag.content.sampleOffset);
    std::size_t found = 0;
    std::size_t searched = 0;
    for (std::size_t at = 0; at + kWindow <= sample.size(); ++at) {
      const auto window = sample.substr(at, kWindow);
      if (std::set<char>(window.begin(), window.end()).size() < 8) continue;  // runs of zeros are everywhere
      ++searched;
      found += windows.count(window);
    }
    if (choice.covers(tag)) ++covered;
    ASSERT_EQ(found, choice.covers(tag) ? 0 : searched)
        << "of a tag of type " << int{tag.content.type()} << ", " << sample.size() << " bytes";
  }
  EXPECT_EQ(covered > 0, choice.audio || choice.video);
  EXPECT_FALSE(windows.contains(readWholeFile(keys().path() / "common.key")));
}

TEST(UnprotectRecording, GivesBackTheClearFilesByteForByte) {
  const Settings rolling{{"Recording/SegmentDuration", "5000"}};
  const struct {
    const char* what;
    RecordingPlan plan;
  } rows[] = {
      {"video and audio", {.messages = av(2000).until(14000)}},
      {"audio alone", {.messages = stream().audio(100).until(14000)}},
      {"other codecs", {.messages = otherCodecs(14000)}},
      {"segments", {.messages = av(2000).until(24000), .settings = rolling}},
      {"an append over a gap",
       {.messages = av(2000).until(14000), .settings = rolling, .appended = av(2000).from(40000).until(54000)}},
      {"other codecs, appended", {.messages = otherCodecs(9000), .appended = av(2000).from(12000).until(9000)}},
      {"key frames rarer than fragments", {.messages = av(9000).until(30000)}},
      {"tags of less than a codec header", {.messages = withStubs(av(2000).until(10000))}},
      {"a crash", {.messages = av(2000).until(14000), .stop = false}},
      {"an append to what a crash left",
       {.messages = av(2000).until(14000), .stop = false, .appended = av(2000).from(16000).until(24000)}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    expectTheSame(row.plan);
  }
}

TEST(UnprotectRecording, GivesBackWhatIsCoveredByChoice) {
  const RecordingPlan plan{.messages = clip(),
                           .settings = {{"Recording/SegmentDuration", "4000"}, {"Recording/FragmentDuration", "2000"}}};
  const MadeRecording plain(plan);
  for (const Choice& choice : {Choice{.level = 0}, Choice{.level = 1}, Choice{}, Choice{.audio = false, .level = 0},
                               Choice{.video = false}, Choice{.audio = false, .video = false, .data = false}}) {
    SCOPED_TRACE(testing::PrintToString(choice.settings()));
    const MadeRecording secret(protectedPlan(plan, choice.settings()));
    expectTheSame(plain, secret);
    expectCovered(plain, secret, choice);
  }
}

TEST(UnprotectRecording, TakesOtherCodecsThatAreNotEncrypted) {
  for (const char* off : {"EncryptVideo", "EncryptAudio", "EncryptData"}) {
    SCOPED_TRACE(off);
    expectTheSame({.messages = otherCodecs(9000)}, {{off, "false"}});
  }
}

TEST(UnprotectRecording, TakesAMetadataTextOfAnyLength) {
  const TempDirectory place;
  writeWholeFile(place.file("policy"), std::string(60000, 'p'));
  expectTheSame({.messages = av(2000).until(9000)}, {{"PolicyPath", place.file("policy")}});
}

TEST(UnprotectCommand, OpensWhatTheCommandsRecordedAndShowsNoKey) {
  const TempDirectory place;
  writeTagStream(clip(), place.file("clip.mtg"));
  const std::vector<std::string> commands[] = {
      {"record", place.file("clip.mtg"), "--out", place.file("cam1"), "--config", keys().file("recording.conf")},
      {"unprotect", place.file("cam1"), "--key", keys().file("license-server.key"), "--out", place.file("opened")}};
  for (const auto& command : commands) {
    const CommandAnswer answer = k2r(command);
    EXPECT_EQ(answer.status, 0) << answer.errors;
    EXPECT_THAT(answer.output + answer.errors,
                testing::Not(testing::HasSubstr(readWholeFile(keys().file("common.key")))));
  }
  expectSameFiles(MadeRecording({.messages = clip()}), place.file("opened"));
}

TEST(UnprotectCommand, SaysWhyNotAndLeavesNothing) {
  const RecordingPlan plan{.messages = av(2000).until(9000)};
  const MadeRecording plain(plan);
  const MadeRecording secret(protectedPlan(plan));
  const MadeRecording changed(protectedPlan(plan));
  // The last byte but one block of the last cipher text decides on the padding.
  std::string bytes = changed.read("Seg1.k2r");
  bytes[changed.boxesOf("Seg1.k2r").fragments.back().end() - qvs::util::kTagBackPointerSize - 17] ^= '\x7F';
  changed.write("Seg1.k2r", bytes);
  const TempDirectory others;
  EXPECT_EQ(k2r({"keys", "new", others.path().string()}).status, 0);
  const TempDirectory place;
  const auto unprotecting = [&](const std::string& directory, const std::string& key) {
    return k2r({"unprotect", directory, "--key", key, "--out", place.file("opened")});
  };

  const std::string key = keys().file("license-server.key");
  const struct {
    std::string directory, key;
    const char* reason;
  } rows[] = {{secret.directory(), others.file("license-server.key"), "the key is not that of the license server"},
              {secret.directory(), keys().file("transport.key"), "the key is not that of the license server"},
              {secret.directory(), keys().file("license-server.crt"), "no private key in PEM or DER"},
              {secret.directory(), keys().file("missing"), "cannot be read"},
              {changed.directory(), key, "does not end in the padding of a sample"},
              {plain.directory(), key, "is not protected"},
              {keys().path().string(), key, "holds no recording"}};
  for (const auto& row : rows) {
    const CommandAnswer answer = unprotecting(row.directory, row.key);
    EXPECT_EQ(answer.status, 1) << row.reason;
    EXPECT_THAT(answer.errors, testing::HasSubstr(row.reason));
    EXPECT_TRUE(fs::is_empty(place.path()));
  }
  fs::create_directory(place.path() / "opened");
  EXPECT_EQ(unprotecting(secret.directory(), key).status, 1);
  EXPECT_TRUE(fs::is_empty(place.path() / "opened"));
}

TEST(ProtectedRecording, ListsItsStreamsToOtherTools) {
  const MadeRecording secret(protectedPlan({.messages = clip()}));
  // Rate and channels are what ffprobe's decoder takes the cipher text for. It complains of that, too.
  const auto streams = nlohmann::json::parse(mustRun("ffprobe -v quiet -of json -show_entries "
                                                     "stream=codec_name,codec_type,width,height '" +
                                                     secret.path("Seg1.k2r").string() + "'"))
                           .at("streams");
  ASSERT_EQ(streams.size(), 3U) << "with the hints";
  EXPECT_EQ(streams[0].at("codec_name"), "h264");
  EXPECT_EQ(streams[0].at("width"), 160);
  EXPECT_EQ(streams[0].at("height"), 90);
  EXPECT_EQ(streams[1].at("codec_name"), "aac");
}

TEST(ProtectedRecording, WithAChangedByteOfProtectionDataIsFoundAndRefused) {
  const MadeRecording made(protectedPlan({.messages = av(2000).until(5000)}));
  const TempDirectory place;
  ASSERT_EQ(made.verify().status(), ExitStatus::kOk);
  const auto expectFound = [&](const std::string& suffix, std::string content, std::size_t at) {
    content[at] ^= '\x04';
    made.write(suffix, content);
    EXPECT_EQ(made.verify().status(), ExitStatus::kDamaged) << suffix << " at " << at;
    EXPECT_THROW(unprotect(made, place.file("opened")), host::CommandError) << suffix << " at " << at;
    EXPECT_TRUE(fs::is_empty(place.path()));
  };
  const std::string drmMeta = made.read(".drmmeta");
  for (std::size_t at = 0; at < drmMeta.size(); at += 13) expectFound(".drmmeta", drmMeta, at);
  made.write(".drmmeta", drmMeta);

  const std::string segment = made.read("Seg1.k2r");
  const std::size_t sinf = segment.find("sinf") - 4;
  for (std::size_t i = 0; i < 1000; i += i < 130 ? 3 : 67) expectFound("Seg1.k2r", segment, sinf + i);
  const std::size_t filter = segment.find("AES128CBC") - 1;
  for (std::size_t i = 0; i < 15; ++i) expectFound("Seg1.k2r", segment, filter + i);
  made.write("Seg1.k2r", segment);

  made.remove(".drmmeta");
  EXPECT_EQ(made.verify().status(), ExitStatus::kDamaged);
  EXPECT_THROW(unprotect(made, place.file("opened")), host::CommandError);
}

}  // namespace
