// Protected recordings, with the real encryption library.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/modules/ProtectedRecorder.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

constexpr std::uint32_t kAppend = kOpenRecord | kOpenAppend;

StreamBuilder av() {
  return stream().keyFramesEvery(2000).audio(23);
}

/// Two fragments that were not stopped.
void recordAndClose(ProtectedRecorder& recorder) {
  ASSERT_TRUE(recorder.open()) << recorder.log();
  EXPECT_EQ(recorder.record(av().until(8001)), 0U) << recorder.log();
  recorder.close();
}

TEST(Protection, FailsInItsSetUpAndLeavesTheFilesAsTheyAre) {
  const struct {
    const char* what;
    const char* key;
    const char* value;
    const char* log;
  } rows[] = {{"no content", "ContentID", "", "error: no content ID specified\n"},
              {"no file", "CommonKeyPath", "/no/such/file", "error: Error (2) - Cannot open file '/no/such/file'\n"},
              {"no such level", "VideoEncryptLevel", "3", "error: invalid video encryption level; must 0, 1 or 2\n"},
              {"an empty key", "CommonKeyPath", "/dev/null", "error: RKX error - 5\n"},
              {"a wrong password", "PackagerCredentialPwd", "wrong", "error: RKX error - 10\n"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ProtectedRecorder fresh;
    fresh.setting(row.key) = row.value;
    ASSERT_TRUE(fresh.open());
    EXPECT_EQ(fresh.record(av().until(4001)), 1U);
    EXPECT_EQ(fresh.log(), row.log);
    fresh.stop();
    EXPECT_EQ(fresh.files(), "cam1.control");

    ProtectedRecorder appending;
    recordAndClose(appending);
    const auto before = appending.snapshot();
    appending.setting(row.key) = row.value;
    EXPECT_FALSE(appending.open(kAppend));
    EXPECT_EQ(appending.log(), row.log);
    EXPECT_TRUE(appending.snapshot() == before);
  }
}

TEST(Protection, BeginsWhenItsSetUpIsPutRight) {
  ProtectedRecorder recorder;
  const std::string path = recorder.setting("CommonKeyPath");
  recorder.setting("CommonKeyPath") = "/no/such/file";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(av().until(4001)), 1U);
  recorder.setting("CommonKeyPath") = path;
  EXPECT_EQ(recorder.record(av().withoutHeaders().from(4001).until(12003)), 0U);
  recorder.stop();
  EXPECT_EQ(recorder.log(), "error: Error (2) - Cannot open file '/no/such/file'\n");
  const std::string segment = recorder.content("Seg1.k2r");
  EXPECT_EQ(hex(segment.substr(segment.find("mdat") + 4, 8)), "0900002f 00000000") << "from the first frame on";
}

TEST(Protection, NeedsItsKeysOnlyToBegin) {
  ProtectedRecorder recorder;
  recorder.host.settings["Recording/SegmentDuration"] = "4000";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(av().until(4001)), 0U);
  std::filesystem::remove_all(recorder.keys.path());
  EXPECT_EQ(recorder.record(av().withoutHeaders().from(4001).until(16003)), 0U);
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
    recordAndClose(recorder);
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
    recordAndClose(recorder);
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
  recordAndClose(recorder);
  std::filesystem::remove(recorder.file(".drmmeta"));
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_TRUE(recorder.content(".drmmeta").starts_with(std::string("\x02\0\x11|AdditionalHeader\x03", 21)));
}

TEST(Protection, FailsWithoutItsMetadataFile) {
  ProtectedRecorder recorder;
  ASSERT_TRUE(recorder.open());
  std::filesystem::create_directory(recorder.file(".drmmeta"));
  EXPECT_EQ(recorder.record(av().until(4001)), 1U);
  EXPECT_EQ(recorder.log(), "error: Unknown Error in record()\n");
  EXPECT_EQ(recorder.files(), "cam1.control cam1.drmmeta");
}

TEST(Protection, LeavesRoomInTheLargestMessage) {
  ProtectedRecorder recorder;
  ASSERT_TRUE(recorder.open());
  recorder.record(metadata(0));
  EXPECT_FALSE(recorder.record({8, 0, std::vector<std::byte>(0xFFFC00, std::byte{0x2F})}));
  EXPECT_EQ(recorder.log(), "error: Message of 16776192 bytes, at most 16776191 can be stored.\n");
  EXPECT_TRUE(recorder.record({8, 0, std::vector<std::byte>(0xFFFBFF, std::byte{0x2F})}));
  EXPECT_TRUE(recorder.record({8, 4000, std::vector<std::byte>(10, std::byte{0x2F})})) << recorder.log();
  EXPECT_GT(recorder.content("Seg1.k2r").size(), 0xFFFBFFU);
}

}  // namespace
