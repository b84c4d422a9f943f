// Protected recordings, with the real encryption library.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <unordered_set>

#include "tests/modules/ProtectedRecorder.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

constexpr std::uint32_t kAppend = kOpenRecord | kOpenAppend;

std::vector<StreamMessage> twoFragments() {
  return stream().keyFramesEvery(2000).audio(23).until(8001);
}

/// Bytes of a protected tag's data in front of the protection, by the first of them.
std::size_t clearBytesOf(const std::string& tag) {
  const auto first = static_cast<unsigned char>(tag[11]);
  switch (static_cast<unsigned char>(tag[0]) & 0x5F) {
    case 9:
      if ((first & 15) == 7) return 5;
      return (first & 15) == 2 || (first & 15) == 4 || (first & 15) == 5 ? 1 : 0;
    case 8:
      if (first >> 4 == 10) return 2;
      return first >> 4 == 2 || (first >> 4 >= 4 && first >> 4 <= 6) || first >> 4 == 11 ? 1 : 0;
    default:
      return 0;
  }
}

std::vector<std::string> unprotectedTags(const std::string& segment) {
  std::vector<std::string> tags = tagsOf(segment);
  for (std::string& tag : tags) tag = unprotectedTag(tag, protectionSet().key, clearBytesOf(tag));
  return tags;
}

/// Records the same to both: a roll-over, a stop and an append, with script data in between.
void recordAll(Recorder& recorder) {
  recorder.host.settings["Recording/SegmentDuration"] = "6000";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).until(4000)), 0U);
  EXPECT_TRUE(recorder.record({18, 4000, fromHex("02 0006 6f6e43756550 00 3ff0000000000000")}));
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).withoutHeaders().from(4000).until(14001)), 0U);
  recorder.stop();
  recorder.close();
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).withoutHeaders().from(18000).until(36001)), 0U);
  recorder.stop();
  recorder.close();
  EXPECT_EQ(recorder.log(), "");
}

TEST(Protection, GivesBackTheTagsOfTheClearRecording) {
  Recorder clear(loadModule());
  recordAll(clear);
  const struct {
    const char* key;
    const char* value;
  } rows[] = {{"VideoEncryptLevel", "0"}, {"VideoEncryptLevel", "1"}, {"VideoEncryptLevel", "2"},
              {"EncryptVideo", "false"},  {"EncryptAudio", "false"},  {"EncryptData", "false"}};
  for (const auto& row : rows) {
    ProtectedRecorder recorder;
    recorder.setting(row.key) = row.value;
    recordAll(recorder);
    EXPECT_EQ(recorder.files(),
              "cam1.bootstrap cam1.control cam1.drmmeta cam1.meta cam1Seg1.k2i cam1Seg1.k2r cam1Seg2.k2i cam1Seg2.k2r "
              "cam1Seg3.k2i cam1Seg3.k2r cam1Seg4.k2i cam1Seg4.k2r");
    for (const char* segment : {"Seg1.k2r", "Seg2.k2r", "Seg3.k2r", "Seg4.k2r"}) {
      const auto tags = unprotectedTags(recorder.content(segment));
      EXPECT_EQ(tags.empty(), std::string_view(segment) == "Seg4.k2r") << segment;
      EXPECT_TRUE(tags == tagsOf(clear.content(segment))) << row.key << " " << row.value << " " << segment;
    }
    for (const char* file : {".bootstrap", ".control", ".meta"}) EXPECT_EQ(recorder.content(file), clear.content(file));
  }
}

TEST(Protection, GivesBackTheTagsOfEveryCodec) {
  const struct {
    const char* what;
    const char* video;
    const char* audio;
  } rows[] = {{"VP6 and MP3", "14", "2f"},
              {"VP6 with alpha and Nellymoser", "15", "6a"},
              {"H.263 and Nellymoser at 16 kHz", "12", "42"},
              {"Speex alone", "", "b2"},
              {"an audio format without header bytes", "", "e2"},
              {"video alone", "14", ""}};
  for (const auto& row : rows) {
    std::vector<StreamMessage> messages{metadata(0)};
    for (std::uint32_t time = 0; time <= 8000; time += 500) {
      // Sizes around those of whole blocks, and tags of one byte.
      for (const auto& [type, first] : {std::pair<int, const char*>{9, row.video}, {8, row.audio}}) {
        if (*first == 0) continue;
        StreamMessage message{static_cast<std::uint8_t>(type), time, fromHex(first)};
        if (type == 9 && time % 2000 != 0) message.data[0] ^= std::byte{0x30};
        for (std::uint32_t i = 1; i < time / 500 * 3; ++i) message.data.push_back(static_cast<std::byte>(i * 29));
        messages.push_back(message);
      }
      messages.push_back({15, time, fromHex("00 02 0006 6f6e43756550 05")});
    }
    Recorder clear(loadModule());
    ProtectedRecorder recorder;
    for (Recorder* each : {&clear, static_cast<Recorder*>(&recorder)}) {
      ASSERT_TRUE(each->open());
      EXPECT_EQ(each->record(messages), 0U) << row.what << "\n" << each->log();
      each->stop();
    }
    const auto expected = tagsOf(clear.content("Seg1.k2r"));
    EXPECT_GT(expected.size(), 30U);
    EXPECT_TRUE(unprotectedTags(recorder.content("Seg1.k2r")) == expected) << row.what;
  }
}

TEST(Protection, HasRoomForALongMetadataText) {
  ProtectedRecorder recorder;
  recorder.addFile("PolicyPath", std::vector<std::byte>(60000, std::byte{'p'}));
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(twoFragments()), 0U);
  recorder.stop();
  recorder.close();
  const std::string file = recorder.content(".drmmeta");
  const std::size_t value = file.find("Metadata", file.find("VNRSV_METADATA") + 14) + 8;
  EXPECT_EQ(file[value], 12) << "a long string";
  const std::string text = file.substr(value + 5, file.size() - value - 5 - 15);
  EXPECT_GE(text.size(), 65536U);
  EXPECT_NE(recorder.content("Seg1.k2r").find(text), std::string::npos);
  EXPECT_TRUE(recorder.open(kAppend)) << recorder.log();
}

TEST(Protection, LeavesNoSampleInTheClear) {
  constexpr std::size_t kWindow = 16;
  ProtectedRecorder recorder;
  ASSERT_TRUE(recorder.open());
  const auto messages = stream().keyFramesEvery(2000).audio(40).until(8001);
  EXPECT_EQ(recorder.record(messages), 0U);
  recorder.stop();
  std::unordered_set<std::string_view> windows;
  for (const StreamMessage& message : messages) {
    if (message.type == 18) continue;
    const std::string_view data(reinterpret_cast<const char*>(message.data.data()), message.data.size());
    // Behind the codec header; sequence headers are no samples.
    const std::size_t header = message.type == 9 ? 5 : 2;
    if (data[1] == 0) continue;
    for (std::size_t i = header; i + kWindow <= data.size(); ++i) windows.insert(data.substr(i, kWindow));
  }
  EXPECT_GT(windows.size(), 50000U);
  for (const auto& [name, content] : recorder.snapshot()) {
    std::size_t found = 0;
    for (std::size_t i = 0; i + kWindow <= content.size(); ++i) {
      found += windows.count(std::string_view(content).substr(i, kWindow));
    }
    EXPECT_EQ(found, 0U) << name;
  }
}

TEST(Protection, UsesTheMetadataTextEverywhere) {
  ProtectedRecorder recorder;
  recorder.host.settings["Recording/SegmentDuration"] = "4000";
  ASSERT_TRUE(recorder.open());
  recorder.record(stream().keyFramesEvery(2000).audio(23).until(16001));
  recorder.stop();
  recorder.close();
  const std::string file = recorder.content(".drmmeta");
  const std::size_t start = file.find("Metadata", file.find("VNRSV_METADATA") + 14) + 8 + 3;
  const std::string text = file.substr(start, file.size() - start - 15);
  EXPECT_EQ(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="), text.npos);
  for (const char* segment : {"Seg1.k2r", "Seg2.k2r"}) {
    EXPECT_NE(recorder.content(segment).find(text + std::string(1, '\0')), std::string::npos) << segment;
  }

  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_NE(recorder.content(".drmmeta"), file) << "a new block for each set-up";
}

/// What makes a set-up fail, and what the log says then.
struct Failure {
  const char* what;
  std::function<void(ProtectedRecorder&)> spoil;
  std::string log;
};

std::vector<Failure> failures() {
  const auto empty = [](const char* key) { return [key](ProtectedRecorder& recorder) { recorder.setting(key) = ""; }; };
  const auto put = [](const char* key, const char* value) {
    return [key, value](ProtectedRecorder& recorder) { recorder.setting(key) = value; };
  };
  const auto fill = [](const char* key, const char* content) {
    return [key, content](ProtectedRecorder& recorder) { recorder.addFile(key, bytesOf(content)); };
  };
  return {{"no settings at all",
           [](ProtectedRecorder& recorder) {
             recorder.host.settings.clear();
             recorder.host.settings["Recording/IsProtected"] = "TRUE";
           },
           "error: no content ID specified\n"},
          {"no content", empty("ContentID"), "error: no content ID specified\n"},
          {"no key", empty("CommonKeyPath"), "error: no common key specified\n"},
          {"no file of the key", put("CommonKeyPath", "/no/such/file"),
           "error: Error (2) - Cannot open file '/no/such/file'\n"},
          {"no address", empty("LicenseServerURL"), "error: no license server URL specified\n"},
          {"no transport certificate", empty("TransportCertPath"), "error: no transport certificate specified\n"},
          {"no server certificate", empty("LicenseServerCertPath"), "error: no license server certificate specified\n"},
          {"no credential", empty("PackagerCredentialPath"), "error: no packager credential specified\n"},
          {"no password", empty("PackagerCredentialPwd"), "error: no packager credential password specified\n"},
          {"no policy", empty("PolicyPath"), "error: no policy specified\n"},
          {"a level that there is not", put("VideoEncryptLevel", "3"),
           "error: invalid video encryption level; must 0, 1 or 2\n"},
          {"a key of the wrong length", fill("CommonKeyPath", "short"), "error: RKX error - 5\n"},
          {"an empty key", fill("CommonKeyPath", ""), "error: RKX error - 5\n"},
          {"no certificate", fill("TransportCertPath", "text"), "error: RKX error - 6\n"},
          {"no server certificate", fill("LicenseServerCertPath", "text"), "error: RKX error - 7\n"},
          {"no credential", fill("PackagerCredentialPath", "text"), "error: RKX error - 9\n"},
          {"a wrong password", put("PackagerCredentialPwd", "wrong"), "error: RKX error - 10\n"},
          {"an empty policy", fill("PolicyPath", ""), "error: RKX error - 12\n"},
          {"no address of the web", put("LicenseServerURL", "ftp://server"), "error: RKX error - 13\n"}};
}

TEST(Protection, FailsInTheSetUpOfANewRecording) {
  for (const Failure& failure : failures()) {
    ProtectedRecorder recorder;
    failure.spoil(recorder);
    ASSERT_TRUE(recorder.open()) << failure.what;
    EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).until(4001)), 1U) << failure.what;
    EXPECT_EQ(recorder.log(), failure.log) << failure.what;
    recorder.stop();
    EXPECT_EQ(recorder.files(), "cam1.control") << failure.what;
  }
}

TEST(Protection, FailsInTheSetUpOfAnAppend) {
  for (const Failure& failure : failures()) {
    ProtectedRecorder recorder;
    ASSERT_TRUE(recorder.open());
    recorder.record(stream().keyFramesEvery(2000).until(4001));
    recorder.stop();
    recorder.close();
    const auto before = recorder.snapshot();
    failure.spoil(recorder);
    EXPECT_FALSE(recorder.open(kAppend)) << failure.what;
    EXPECT_EQ(recorder.log(), failure.log) << failure.what;
    EXPECT_TRUE(recorder.snapshot() == before) << failure.what;
  }
}

TEST(Protection, BeginsWhenItsSetUpIsPutRight) {
  ProtectedRecorder recorder;
  const std::string path = recorder.setting("CommonKeyPath");
  recorder.setting("CommonKeyPath") = "/no/such/file";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).until(4001)), 1U);
  recorder.setting("CommonKeyPath") = path;
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).withoutHeaders().from(4001).until(12003)), 0U);
  recorder.stop();
  EXPECT_EQ(recorder.log(), "error: Error (2) - Cannot open file '/no/such/file'\n");
  const auto tags = unprotectedTags(recorder.content("Seg1.k2r"));
  ASSERT_GT(tags.size(), 4U);
  EXPECT_EQ(hex(tags.at(2).substr(0, 13)), "0900012c 00000000 00000017 01") << "from the first frame on";
}

TEST(Protection, NeedsItsKeysOnlyToBegin) {
  ProtectedRecorder recorder;
  recorder.host.settings["Recording/SegmentDuration"] = "4000";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).until(4001)), 0U);
  std::filesystem::remove_all(recorder.keys.path());
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).withoutHeaders().from(4001).until(16003)), 0U);
  recorder.stop();
  recorder.close();
  EXPECT_TRUE(recorder.has("Seg2.k2i"));
  EXPECT_EQ(recorder.log(), "");
  EXPECT_FALSE(recorder.open(kAppend)) << "and an append begins again";
}

TEST(Protection, IsWhatEveryPartOfTheRecordingHas) {
  for (const bool isProtected : {true, false}) {
    ProtectedRecorder recorder;
    auto& setting = recorder.host.settings["Recording/IsProtected"];
    setting = isProtected ? "true" : "false";
    ASSERT_TRUE(recorder.open());
    recorder.record(twoFragments());
    recorder.close();
    setting = isProtected ? "false" : "true";
    const auto before = recorder.snapshot();
    EXPECT_FALSE(recorder.open(kAppend));
    EXPECT_EQ(recorder.log(),
              isProtected ? "error: The recording is protected and cannot be continued in the clear.\n"
                          : "error: The recording is in the clear and cannot be continued as a protected one.\n");
    EXPECT_TRUE(recorder.snapshot() == before);
    setting = isProtected ? "true" : "false";
    EXPECT_TRUE(recorder.open(kAppend)) << "nothing was lost: " << recorder.log();
  }
}

TEST(Protection, IsNotContinuedBehindDamage) {
  for (const char* box : {"sinf", "schm", "adkm", "aeib", "AES-CBC", "flxs", "adaf"}) {
    ProtectedRecorder recorder;
    ASSERT_TRUE(recorder.open());
    recorder.record(twoFragments());
    recorder.close();
    std::string segment = recorder.content("Seg1.k2r");
    segment[segment.find(box)] ^= 0x20;
    writeWholeFile(recorder.file("Seg1.k2r"), segment);
    const auto before = recorder.snapshot();
    EXPECT_FALSE(recorder.open(kAppend)) << box;
    EXPECT_EQ(recorder.log(), "warning: The protection data of segment '" + modulePath(recorder.file("Seg1.k2r")) +
                                  "' are damaged.\nerror: Unknown Error in initAppend()\n")
        << box;
    EXPECT_TRUE(recorder.snapshot() == before) << box;
  }
}

TEST(Protection, MakesAMissingMetadataFileAnew) {
  ProtectedRecorder recorder;
  ASSERT_TRUE(recorder.open());
  recorder.record(twoFragments());
  recorder.close();
  std::filesystem::remove(recorder.file(".drmmeta"));
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_TRUE(recorder.content(".drmmeta").starts_with(std::string("\x02\0\x11|AdditionalHeader\x03", 21)));
}

TEST(Protection, FailsWithoutItsMetadataFile) {
  ProtectedRecorder recorder;
  ASSERT_TRUE(recorder.open());
  std::filesystem::create_directory(recorder.file(".drmmeta"));
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).until(4001)), 1U);
  EXPECT_EQ(recorder.log(), "error: Unknown Error in record()\n");
  EXPECT_EQ(recorder.files(), "cam1.control cam1.drmmeta");
}

TEST(Protection, RefusesAMessageThatWouldBeTooLarge) {
  const auto lines = [](const char* isProtected, std::uint32_t size) {
    ProtectedRecorder recorder;
    recorder.host.settings["Recording/IsProtected"] = isProtected;
    EXPECT_TRUE(recorder.open());
    recorder.record(metadata(0));
    recorder.record({8, 0, std::vector<std::byte>(size, std::byte{0x2F})});
    return recorder.log();
  };
  EXPECT_EQ(lines("true", 0xFFFBFF), "");
  EXPECT_EQ(lines("true", 0xFFFC00), "error: Message of 16776192 bytes, at most 16776191 can be stored.\n");
  EXPECT_EQ(lines("false", 0xFFFFFF), "");
}

TEST(Protection, StoresTheLargestMessage) {
  ProtectedRecorder recorder;
  ASSERT_TRUE(recorder.open());
  recorder.record(metadata(0));
  EXPECT_TRUE(recorder.record({8, 0, std::vector<std::byte>(0xFFFBFF, std::byte{0x2F})}));
  EXPECT_TRUE(recorder.record({8, 4000, std::vector<std::byte>(10, std::byte{0x2F})}));
  EXPECT_TRUE(recorder.record({8, 8000, std::vector<std::byte>(10, std::byte{0x2F})}));
  recorder.stop();
  EXPECT_EQ(recorder.log(), "");
  EXPECT_EQ(tagsOf(recorder.content("Seg1.k2r")).size(), 2U);
}

}  // namespace
