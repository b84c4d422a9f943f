// Protected recordings of streams that no media file gives, and the way back.

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "host/keys/keySet.h"
#include "host/unprotect/unprotectRecording.h"
#include "tests/host/LogCapture.h"
#include "tests/host/RecordingMaker.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

/// A set of keys, made once.
const TempDirectory& keys() {
  static const TempDirectory directory;
  static const bool made = [] {
    host::NewFiles files(directory.path().string());
    host::makeKeySet(files);
    files.keep();
    return true;
  }();
  EXPECT_TRUE(made);
  return directory;
}

/// The settings of such a recording.
class Protection {
 public:
  Protection() {
    std::istringstream lines(readWholeFile(keys().path() / host::kKeySetSettings));
    for (std::string line; std::getline(lines, line);) {
      const auto equals = line.find(" = ");
      if (equals != std::string::npos) settings_[line.substr(0, equals)] = line.substr(equals + 3);
    }
  }

  void set(const std::string& key, const std::string& value) { settings_["Recording/VantryV2/" + key] = value; }
  std::map<std::string, std::string> with(std::map<std::string, std::string> settings) const {
    settings.insert(settings_.begin(), settings_.end());
    return settings;
  }

 private:
  std::map<std::string, std::string> settings_;
};

/// Records both ways, and holds the unprotected recording against the clear one, byte for byte. Answers what a check
/// says of the protected one.
host::ExitStatus expectTheSame(const RecordingPlan& plan, const Protection& protection = {}) {
  const MadeRecording plain(plan);
  RecordingPlan secretPlan = plan;
  secretPlan.settings = protection.with(plan.settings);
  const MadeRecording secret(secretPlan);
  const TempDirectory root;
  LogCapture capture;
  host::unprotectRecording(
      {.directory = secret.directory(), .keyFile = keys().file("license-server.key"), .output = root.file("opened")},
      capture.log());
  expectSameFiles(plain, root.file("opened"));
  return secret.verify().status();
}

StreamBuilder av(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(200).audio(230);
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

TEST(UnprotectRecording, GivesBackTheClearFilesByteForByte) {
  const std::map<std::string, std::string> rolling{{"Recording/SegmentDuration", "5000"}};
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
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(expectTheSame(row.plan), host::ExitStatus::kOk);
  }
}

TEST(UnprotectRecording, TakesWhatIsNotEncrypted) {
  for (const char* off : {"EncryptVideo", "EncryptAudio", "EncryptData"}) {
    SCOPED_TRACE(off);
    Protection protection;
    protection.set(off, "false");
    EXPECT_EQ(expectTheSame({.messages = av(2000).until(9000)}, protection), host::ExitStatus::kOk);
    EXPECT_EQ(expectTheSame({.messages = otherCodecs(9000)}, protection), host::ExitStatus::kOk);
  }
}

TEST(UnprotectRecording, TakesAMetadataTextOfAnyLength) {
  const TempDirectory place;
  writeWholeFile(place.file("policy"), std::string(60000, 'p'));
  Protection protection;
  protection.set("PolicyPath", place.file("policy"));
  EXPECT_EQ(expectTheSame({.messages = av(2000).until(9000)}, protection), host::ExitStatus::kOk);
}

TEST(VerifyProtected, FindsEveryChangedByteOfProtectionData) {
  const Protection protection;
  const MadeRecording made({.messages = av(2000).until(5000), .settings = protection.with({})});
  ASSERT_EQ(made.verify().status(), host::ExitStatus::kOk);
  const auto expectFound = [&](const std::string& suffix, std::string content, std::size_t at) {
    content[at] ^= '\x04';
    made.write(suffix, content);
    EXPECT_EQ(made.verify().status(), host::ExitStatus::kDamaged) << suffix << " at " << at;
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
  EXPECT_EQ(made.verify().status(), host::ExitStatus::kDamaged);
}

}  // namespace
