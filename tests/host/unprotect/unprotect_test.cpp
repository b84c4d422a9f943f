// Protected recordings and their keys, and the way back: what unprotecting gives is what was recorded in the clear.

#include <unordered_set>

#include "host/exporting/RecordedTags.h"
#include "host/keys/keySet.h"
#include "host/unprotect/unprotectRecording.h"
#include "tests/endtoend/mediaTools.h"
#include "tests/host/hostTools.h"
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
  plan.settings.merge(settingsIn(keys().path() / host::kKeySetSettings));
  return plan;
}

ExitStatus unprotect(const MadeRecording& secret, const std::string& output) {
  LogCapture capture;
  return host::unprotectRecording({secret.directory(), keys().file("license-server.key"), output}, capture.log());
}

/// Compares the unprotected recording with the clear one, byte for byte.
void expectTheSame(const MadeRecording& plain, const MadeRecording& secret) {
  const TempDirectory root;
  EXPECT_EQ(unprotect(secret, root.file("opened")), ExitStatus::kOk);
  expectSameFiles(plain, root.file("opened"));
  EXPECT_EQ(secret.verify().status(), ExitStatus::kOk);
}

/// With tags that have less in them than their codec asks for.
std::vector<StreamMessage> withStubs(const std::vector<StreamMessage>& messages) {
  const char* const stubs[] = {"17", "2702", "270100", "2701000000", "1702000000", "af", "af01", "af010203"};
  std::vector<StreamMessage> all;
  for (const StreamMessage& message : messages) {
    all.push_back(message);
    if (message.time < 500) continue;
    const auto stub = fromHex(stubs[all.size() / 2 % std::size(stubs)]);
    all.push_back({static_cast<std::uint8_t>(stub[0] == std::byte{0xAF} ? 8 : 9), message.time, stub});
  }
  return all;
}

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

/// 'A' for sound, 'K' for a key frame, 'R' for another frame that some refer to, 'B' for the others; 'H' for a
/// configuration, 'D' for script data.
char kindOf(const host::RecordedTag& tag) {
  if (tag.content.isSequenceHeader()) return 'H';
  if (!tag.content.isVideo()) return tag.content.isAudio() ? 'A' : 'D';
  if (tag.content.isKeyFrame()) return 'K';
  for (qvs::util::ByteReader in(tag.data.subspan(5)); in.remaining() > 0;) {
    const bool hasReferenceId = (in.bytes(in.u32()).front() & std::byte{0x60}) != std::byte{0};
    if (hasReferenceId) return 'R';
  }
  return 'B';
}

/// No frame of these kinds is in any file, and every other one is.
void expectCovered(const MadeRecording& plain, const MadeRecording& secret, const std::string& covered) {
  constexpr std::size_t kWindow = 16;
  std::unordered_set<std::string_view> windows;
  const auto files = readAllFiles(secret.directory());
  for (const auto& [name, content] : files) {
    // The description beside the segments is in the clear, as any player needs it.
    for (std::size_t at = 0; !name.ends_with(".meta") && at + kWindow <= content.size(); ++at) {
      windows.insert(std::string_view(content).substr(at, kWindow));
    }
  }
  std::set<char> kinds;
  const auto directory = host::readRecordingDirectory(plain.directory());
  host::RecordedTags(directory).forEach({}, [&](const host::RecordedTag& tag) {
    const std::string data = textOf(tag.data);
    std::size_t found = 0, searched = 0;
    for (std::size_t at = *tag.content.sampleOffset; at + kWindow <= data.size(); ++at) {
      const auto window = std::string_view(data).substr(at, kWindow);
      if (std::set<char>(window.begin(), window.end()).size() < 8) continue;  // runs of zeros are everywhere
      ++searched;
      found += windows.count(window);
    }
    const char kind = kindOf(tag);
    kinds.insert(kind);
    EXPECT_EQ(found, covered.find(kind) != std::string::npos ? 0 : searched) << kind << " of " << data.size();
  });
  EXPECT_TRUE(kinds.contains('A') && kinds.contains('K') && kinds.contains('R') && kinds.contains('B'));
  EXPECT_FALSE(windows.contains(readWholeFile(keys().path() / "common.key")));
}

TEST(UnprotectRecording, GivesBackTheClearFilesByteForByte) {
  const Settings rolling{{"Recording/SegmentDuration", "5000"}};
  const TempDirectory place;
  writeWholeFile(place.file("policy"), std::string(60000, 'p'));
  const struct {
    const char* what;
    RecordingPlan plan;
    Settings changes = {};
  } rows[] = {{"audio alone", {stream().audio(100).until(14000)}},
              {"segments", {av(2000).until(24000), rolling}},
              {"an append over a gap", {av(2000).until(14000), rolling, true, av(2000).from(40000).until(54000)}},
              {"other codecs, appended", {otherCodecs(9000), {}, true, av(2000).from(12000).until(9000)}},
              {"key frames rarer than fragments", {av(9000).until(30000)}},
              {"tags of less than a codec header", {withStubs(av(2000).until(10000))}},
              {"an append to what a crash left", {av(2000).until(14000), {}, false, av(2000).from(16000).until(24000)}},
              {"a long metadata text", {av(2000).until(9000)}, {{"PolicyPath", place.file("policy")}}},
              {"other codecs, video in the clear", {otherCodecs(9000)}, {{"EncryptVideo", "false"}}},
              {"other codecs, audio in the clear", {otherCodecs(9000)}, {{"EncryptAudio", "false"}}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    expectTheSame(MadeRecording(row.plan), MadeRecording(protectedPlan(row.plan, row.changes)));
  }
}

TEST(UnprotectRecording, GivesBackWhatIsCoveredByChoice) {
  const RecordingPlan plan{.messages = clip(),
                           .settings = {{"Recording/SegmentDuration", "4000"}, {"Recording/FragmentDuration", "2000"}}};
  const MadeRecording plain(plan);
  const Settings nothing{{"EncryptAudio", "false"}, {"EncryptVideo", "false"}, {"EncryptData", "false"}};
  const std::tuple<Settings, const char*> rows[] = {
      {{{"VideoEncryptLevel", "0"}}, "KAD"},   {{{"VideoEncryptLevel", "1"}}, "KRAD"},
      {{{"VideoEncryptLevel", "2"}}, "KRBAD"}, {{{"VideoEncryptLevel", "0"}, {"EncryptAudio", "false"}}, "KD"},
      {{{"EncryptVideo", "false"}}, "AD"},     {nothing, ""}};
  for (const auto& [choice, covered] : rows) {
    SCOPED_TRACE(testing::PrintToString(choice));
    const MadeRecording secret(protectedPlan(plan, choice));
    expectTheSame(plain, secret);
    expectCovered(plain, secret, covered);
  }
}

TEST(UnprotectCommand, OpensWhatTheCommandsRecordedAndShowsNoKey) {
  const TempDirectory place;
  writeTagStream(clip(), place.file("clip.mtg"));
  const std::vector<std::string> commands[] = {
      {"record", place.file("clip.mtg"), "--out", place.file("cam1"), "--tail", "drop", "--config",
       keys().file("recording.conf")},
      {"unprotect", place.file("cam1"), "--key", keys().file("license-server.key"), "--out", place.file("opened")}};
  for (const auto& command : commands) {
    // A kill at a roll-over leaves a segment that has just been begun.
    if (command.front() == "unprotect") writeWholeFile(place.file("cam1/cam1Seg2.k2r"), "");
    const CommandAnswer answer = k2r(command);
    EXPECT_EQ(answer.status, 0) << answer.errors;
    EXPECT_THAT(answer.output + answer.errors,
                testing::Not(testing::HasSubstr(readWholeFile(keys().file("common.key")))));
  }
  EXPECT_TRUE(std::filesystem::remove(place.file("opened/openedSeg2.k2r")));
  expectSameFiles(MadeRecording({.messages = clip()}), place.file("opened"));
}

TEST(UnprotectCommand, SaysWhyNotAndLeavesNothing) {
  const RecordingPlan plan{.messages = av(2000).until(9000)};
  const MadeRecording plain(plan), secret(protectedPlan(plan)), changed(protectedPlan(plan));
  // The last byte but one block of the last cipher text decides on the padding.
  std::string bytes = changed.read("Seg1.k2r");
  bytes[changed.boxesOf("Seg1.k2r").fragments.back().end() - qvs::util::kTagBackPointerSize - 17] ^= '\x7F';
  changed.write("Seg1.k2r", bytes);
  const TempDirectory others, place;
  EXPECT_EQ(k2r({"keys", "new", others.path().string()}).status, 0);
  const auto unprotecting = [&](const std::string& directory, const std::string& key) {
    return k2r({"unprotect", directory, "--key", key, "--out", place.file("opened")});
  };

  const std::string key = keys().file("license-server.key");
  const std::tuple<std::string, std::string, const char*> rows[] = {
      {secret.directory(), others.file("license-server.key"), "the key is not that of the license server"},
      {secret.directory(), keys().file("license-server.crt"), "no private key in PEM or DER"},
      {secret.directory(), keys().file("missing"), "cannot be read"},
      {changed.directory(), key, "does not end in the padding of a sample"},
      {plain.directory(), key, "is not protected"},
      {keys().path().string(), key, "contains no recording"}};
  for (const auto& [directory, keyFile, reason] : rows) {
    const CommandAnswer answer = unprotecting(directory, keyFile);
    EXPECT_EQ(answer.status, 1) << reason;
    EXPECT_THAT(answer.errors, testing::HasSubstr(reason));
    EXPECT_TRUE(fs::is_empty(place.path()));
  }
  fs::create_directory(place.path() / "opened");
  EXPECT_EQ(unprotecting(secret.directory(), key).status, 1);
  EXPECT_TRUE(fs::is_empty(place.path() / "opened"));
}

TEST(ProtectedRecording, ListsItsStreamsToOtherTools) {
  const MadeRecording secret(protectedPlan({.messages = clip()}));
  // Rate and channels are what ffprobe's decoder takes the cipher text for. It complains of that, too.
  EXPECT_EQ(mustRun("ffprobe -v quiet -of csv=p=0 -show_entries stream=codec_name,codec_type,width,height '" +
                    secret.path("Seg1.k2r").string() + "'"),
            "h264,video,160,90\naac,audio\nunknown,data\n");
}

TEST(ProtectedRecording, DescribesWhatProtectsIt) {
  const MadeRecording secret(protectedPlan({.messages = av().until(4001)}));
  const auto told = [&](const char* suffix) { return k2r({"inspect", secret.path(suffix).string()}).output; };
  for (const char* const suffix : {"Seg1.k2r", ".drmmeta"}) {
    EXPECT_THAT(told(suffix), testing::ContainsRegex("license server url: +https://license-server.example/")) << suffix;
    EXPECT_THAT(told(suffix), testing::ContainsRegex("signer fingerprint: +[0-9a-f]{40}")) << suffix;
  }
  std::string text = secret.read(".drmmeta");
  text[text.size() / 2] ^= 1;
  secret.write(".drmmeta", text);
  EXPECT_THAT(told(".drmmeta"), testing::HasSubstr("unreadable: "));
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

TEST(KeySet, IsForTheOwnerAloneAndNeverReplaced) {
  const TempDirectory root;
  EXPECT_EQ(k2r({"keys", "new", root.file("keys")}).status, 0);
  const std::string key = readWholeFile(root.file("keys/common.key"));
  for (const char* name : {"common.key", "license-server.key", "transport.key", "packager.p12", "recording.conf"}) {
    EXPECT_EQ(fs::status(root.file("keys/" + std::string(name))).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << name;
  }
  EXPECT_EQ(k2r({"keys", "new", root.file("keys")}).status, 1) << "they are there";
  EXPECT_EQ(readWholeFile(root.file("keys/common.key")), key);
}

TEST(KeySet, LeavesNothingWhereItCannotBeWhole) {
  const TempDirectory root;
  EXPECT_EQ(k2r({"keys", "new", root.file("not #settable")}).status, 2);
  EXPECT_FALSE(fs::exists(root.file("not #settable")));

  fs::create_directory(root.file("kept"));
  {
    host::NewFiles files(root.file("kept"));
    files.write("one", {}, host::NewFiles::Access::kEveryone);
    EXPECT_THROW(files.write("one", {}, host::NewFiles::Access::kEveryone), host::CommandError);
  }
  EXPECT_TRUE(fs::is_empty(root.file("kept")));
}

}  // namespace
