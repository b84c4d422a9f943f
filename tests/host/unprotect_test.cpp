// Protected recordings of streams that no media file gives, and the way back.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>

#include "host/unprotect/unprotectRecording.h"
#include "host/verify/verifyRecording.h"
#include "tests/host/RecordingMaker.h"
#include "tests/support/ProtectionSet.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"

namespace {

namespace fs = std::filesystem;
using namespace test;

const ProtectionSet& keys() {
  static const ProtectionSet set(krvo::encryption::KeyType::kEcP256);
  return set;
}

std::string textOf(const std::vector<std::byte>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Files of keys, and the settings that name them.
class Protection {
 public:
  Protection() {
    settings_["Recording/IsProtected"] = "true";
    set("ContentID", keys().contentId);
    set("LicenseServerURL", keys().url);
    set("PackagerCredentialPwd", keys().password);
    addFile("CommonKeyPath", keys().key);
    addFile("TransportCertPath", keys().transportCertificate);
    addFile("LicenseServerCertPath", keys().licenseServerCertificate);
    addFile("PackagerCredentialPath", keys().credential);
    addFile("PolicyPath", keys().policy);
    writeWholeFile(directory_.path() / "license-server.key", textOf(keys().licenseServerKey));
  }

  void set(const std::string& key, const std::string& value) { settings_["Recording/VantryV2/" + key] = value; }
  void addFile(const std::string& key, const std::vector<std::byte>& content) {
    writeWholeFile(directory_.path() / key, textOf(content));
    set(key, directory_.file(key));
  }
  std::map<std::string, std::string> with(std::map<std::string, std::string> settings) const {
    settings.insert(settings_.begin(), settings_.end());
    return settings;
  }
  /// The clear recording of `from`, in `to`.
  void unprotect(const MadeRecording& from, const std::string& to) const {
    host::Log log(null_.get());
    host::unprotectRecording(
        {.directory = from.directory(), .keyFile = directory_.file("license-server.key"), .output = to}, log);
  }

 private:
  TempDirectory directory_;
  std::map<std::string, std::string> settings_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> null_{std::fopen("/dev/null", "w"), &std::fclose};
};

/// A segment without the times of day in its `moov`, which is the only thing that two recordings of one stream differ
/// in.
std::string withoutMoov(std::string segment) {
  const auto fragments = segment.find("afra");
  return fragments == std::string::npos ? "" : segment.substr(fragments);
}

void expectSameFiles(const MadeRecording& plain, const std::string& opened) {
  std::size_t count = 0;
  for (const auto& entry : fs::directory_iterator(plain.directory())) {
    const std::string suffix = entry.path().filename().string().substr(4);
    std::string expected = plain.read(suffix);
    std::string found = readWholeFile(opened + "/" + fs::path(opened).filename().string() + suffix);
    EXPECT_EQ(found.size(), expected.size()) << suffix;
    if (suffix.ends_with(".k2r")) {
      expected = withoutMoov(std::move(expected));
      found = withoutMoov(std::move(found));
    }
    EXPECT_TRUE(found == expected) << suffix;
    ++count;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(opened), {}), static_cast<std::ptrdiff_t>(count));
}

/// Records both ways, and holds the unprotected recording against the clear one, byte for byte. Answers what a check
/// says of the protected one.
host::ExitStatus expectTheSame(const RecordingPlan& plan, const Protection& protection = {}) {
  const MadeRecording plain(plan);
  RecordingPlan secretPlan = plan;
  secretPlan.settings = protection.with(plan.settings);
  const MadeRecording secret(secretPlan);
  const TempDirectory root;
  const std::string opened = root.file("opened");
  protection.unprotect(secret, opened);
  expectSameFiles(plain, opened);
  return host::verifyRecording(secret.directory()).status();
}

StreamBuilder av(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(200).audio(230);
}

/// VP6, MP3, script data of both kinds, and now and then a picture of no bytes.
std::vector<StreamMessage> otherCodecs(std::uint32_t until) {
  std::vector<StreamMessage> messages{metadata(0)};
  for (std::uint32_t time = 0; time < until; time += 200) {
    std::vector<std::byte> picture = fromHex(time % 2000 == 0 ? "14 00 0102030405" : "24 00 0607");
    if (time % 1400 == 200) picture.resize(2);
    messages.push_back({9, time, picture});
    messages.push_back({8, time + 50, fromHex("2f fffb9000")});
    if (time % 1000 == 0) messages.push_back({18, time + 60, fromHex("02 0002 6869 05")});
    if (time % 1000 == 400) messages.push_back({15, time + 60, fromHex("00 02 0002 6869 05")});
  }
  return messages;
}

/// Tags with less in them than their codec asks for.
std::vector<StreamMessage> withStubs(std::vector<StreamMessage> messages) {
  const char* const stubs[] = {"17", "2702", "270100",   "2701000000", "1702000000",
                               "af", "af01", "af010203", "14",         "2f"};
  std::vector<StreamMessage> all;
  std::size_t next = 0;
  for (StreamMessage& message : messages) {
    const auto time = message.time;
    all.push_back(std::move(message));
    if (time < 500) continue;
    const auto stub = fromHex(stubs[next++ % std::size(stubs)]);
    const bool audio = stub.front() == std::byte{0xAF} || stub.front() == std::byte{0x2F};
    if (stub.front() != std::byte{0x14} && stub.front() != std::byte{0x2F}) {
      all.push_back({static_cast<std::uint8_t>(audio ? 8 : 9), time, stub});
    }
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
      {"a crash", {.messages = av(2000).until(14000), .stop = false}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(expectTheSame(row.plan), host::ExitStatus::kOk);
  }
}

TEST(UnprotectRecording, TakesTagsOfLessThanACodecHeader) {
  EXPECT_EQ(expectTheSame({.messages = withStubs(av(2000).until(10000))}), host::ExitStatus::kOk);
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
  Protection protection;
  protection.addFile("PolicyPath", std::vector<std::byte>(60000, std::byte{'p'}));
  EXPECT_EQ(expectTheSame({.messages = av(2000).until(9000)}, protection), host::ExitStatus::kOk);
}

TEST(UnprotectRecording, TakesAnAppendWithNewCertificates) {
  Protection protection;
  const MadeRecording first({.messages = av(2000).until(9000), .settings = protection.with({})});
  const std::string before = first.read(".drmmeta");
  const MadeRecording both({.messages = av(2000).until(9000),
                            .settings = protection.with({}),
                            .appended = av(2000).from(12000).until(21000)});
  EXPECT_NE(both.read(".drmmeta"), before);
  EXPECT_EQ(host::verifyRecording(both.directory()).status(), host::ExitStatus::kOk);
  const TempDirectory root;
  protection.unprotect(both, root.file("opened"));
}

TEST(VerifyProtected, FindsEveryChangedByteOfProtectionData) {
  const Protection protection;
  const MadeRecording made({.messages = av(2000).until(5000), .settings = protection.with({})});
  ASSERT_EQ(host::verifyRecording(made.directory()).status(), host::ExitStatus::kOk);
  const auto expectFound = [&](const std::string& suffix, std::string content, std::size_t at) {
    content[at] ^= '\x04';
    made.write(suffix, content);
    EXPECT_EQ(host::verifyRecording(made.directory()).status(), host::ExitStatus::kDamaged) << suffix << " at " << at;
  };
  const std::string drmMeta = made.read(".drmmeta");
  for (std::size_t at = 0; at < drmMeta.size(); at += 13) expectFound(".drmmeta", drmMeta, at);
  made.write(".drmmeta", drmMeta);

  const std::string segment = made.read("Seg1.k2r");
  const std::size_t sinf = segment.find("sinf") - 4;
  for (std::size_t at = sinf; at < sinf + 130; at += 3) expectFound("Seg1.k2r", segment, at);
  for (std::size_t at = sinf + 130; at < sinf + 1000; at += 67) expectFound("Seg1.k2r", segment, at);
  const std::size_t filter = segment.find("AES128CBC") - 1;
  for (std::size_t at = filter; at < filter + 15; ++at) expectFound("Seg1.k2r", segment, at);
  made.write("Seg1.k2r", segment);

  made.remove(".drmmeta");
  EXPECT_EQ(host::verifyRecording(made.directory()).status(), host::ExitStatus::kDamaged);
}

}  // namespace
