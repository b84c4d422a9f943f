// Protected recordings, with the real encryption library, and what is left of a content key in the memory of the
// process.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>

#include "tests/modules/OpenRecorder.h"
#include "tests/support/ProtectionSet.h"

namespace {

using namespace test;

/// A recorder with the settings of a protected recording and, in a directory of its own, the files that they name. Keys
/// and certificates are the same for the whole program: they take a while to make.
struct ProtectedRecorder : Recorder {
  ProtectedRecorder() : Recorder(loadModule()) {
    static const ProtectionSet set(krvo::encryption::KeyType::kEcP256);
    host.settings["Recording/IsProtected"] = "true";
    setting("ContentID") = set.contentId;
    setting("LicenseServerURL") = set.url;
    setting("PackagerCredentialPwd") = set.password;
    addFile("CommonKeyPath", set.key);
    addFile("TransportCertPath", set.transportCertificate);
    addFile("LicenseServerCertPath", set.licenseServerCertificate);
    addFile("PackagerCredentialPath", set.credential);
    addFile("PolicyPath", set.policy);
  }

  std::string& setting(const std::string& key) { return host.settings["Recording/VantryV2/" + key]; }
  void addFile(const std::string& key, std::span<const std::byte> content) {
    writeWholeFile(keys.path() / key, textOf(content));
    setting(key) = keys.file(key);
  }

  TempDirectory keys;
};

const StreamBuilder kAv = video().audio(23);

/// Two fragments that were not stopped.
void recordAndClose(ProtectedRecorder& recorder) {
  ASSERT_TRUE(recorder.open()) << recorder.log();
  EXPECT_EQ(recorder.record(kAv.until(8001)), 0U) << recorder.log();
  recorder.close();
}

TEST(Protection, FailsInItsSetUpAndLeavesTheFilesAsTheyAre) {
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"no file", "CommonKeyPath", "/no/such/file", "error: Error (2) - Cannot open file '/no/such/file'\n"},
      {"an empty key", "CommonKeyPath", "/dev/null", "error: RKX error - 5\n"},
      {"a wrong password", "PackagerCredentialPwd", "wrong", "error: RKX error - 10\n"}};
  for (const auto& [what, key, value, log] : rows) {
    SCOPED_TRACE(what);
    ProtectedRecorder fresh;
    fresh.setting(key) = value;
    ASSERT_TRUE(fresh.open());
    EXPECT_EQ(fresh.record(kAv.until(4001)), 1U);
    EXPECT_EQ(fresh.log(), log);
    fresh.stop();
    EXPECT_EQ(fresh.files(), "cam1.control");

    ProtectedRecorder appending;
    recordAndClose(appending);
    const auto before = readAllFiles(appending.directory());
    appending.setting(key) = value;
    EXPECT_FALSE(appending.open(kAppend));
    EXPECT_EQ(appending.log(), log);
    EXPECT_TRUE(readAllFiles(appending.directory()) == before);
  }
}

TEST(Protection, BeginsWhenItsSetUpIsPutRight) {
  ProtectedRecorder recorder;
  const std::string path = recorder.setting("CommonKeyPath");
  recorder.setting("CommonKeyPath") = "/no/such/file";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(kAv.until(4001)), 1U);
  recorder.setting("CommonKeyPath") = path;
  EXPECT_EQ(recorder.record(StreamBuilder(kAv).withoutHeaders().from(4001).until(12003)), 0U);
  recorder.stop();
  EXPECT_EQ(recorder.log(), "error: Error (2) - Cannot open file '/no/such/file'\n");
  const std::string segment = recorder.content("Seg1.k2r");
  EXPECT_EQ(hex(segment.substr(segment.find("mdat") + 4, 8)), "0900002f 00000000") << "from the first frame on";
}

TEST(Protection, NeedsItsKeysOnlyToBegin) {
  ProtectedRecorder recorder;
  recorder.host.settings["Recording/SegmentDuration"] = "4000";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(kAv.until(4001)), 0U);
  std::filesystem::remove_all(recorder.keys.path());
  EXPECT_EQ(recorder.record(StreamBuilder(kAv).withoutHeaders().from(4001).until(16003)), 0U);
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
    const auto before = readAllFiles(recorder.directory());
    EXPECT_FALSE(recorder.open(kAppend));
    EXPECT_EQ(recorder.log(),
              isProtected ? "error: The recording is protected and cannot be continued in the clear.\n"
                          : "error: The recording is in the clear and cannot be continued as a protected one.\n");
    EXPECT_TRUE(readAllFiles(recorder.directory()) == before);
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
    const auto before = readAllFiles(recorder.directory());
    EXPECT_FALSE(recorder.open(kAppend)) << box;
    EXPECT_EQ(recorder.log(), "warning: The protection data of segment '" + modulePath(recorder.file("Seg1.k2r")) +
                                  "' are damaged.\nerror: Unknown Error in initAppend()\n")
        << box;
    EXPECT_TRUE(readAllFiles(recorder.directory()) == before) << box;
  }
}

TEST(Protection, MakesAMissingMetadataFileAnewAndFailsWithoutOne) {
  ProtectedRecorder recorder, failing;
  recordAndClose(recorder);
  std::filesystem::remove(recorder.file(".drmmeta"));
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_TRUE(recorder.content(".drmmeta").starts_with(std::string("\x02\0\x11|AdditionalHeader\x03", 21)));
  ASSERT_TRUE(failing.open());
  std::filesystem::create_directory(failing.file(".drmmeta"));
  EXPECT_EQ(failing.record(kAv.until(4001)), 1U);
  EXPECT_EQ(failing.log(), "error: Unknown Error in record()\n");
  EXPECT_EQ(failing.files(), "cam1.control cam1.drmmeta");
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

/// Every bit of a key turned, so that the test itself does not have the key in memory.
using TurnedKey = std::array<unsigned char, 16>;

/// Makes the file of a key, byte by byte.
TurnedKey makeKeyFile(const std::string& path) {
  TurnedKey turned;
  std::random_device random;
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  for (auto& byte : turned) {
    byte = static_cast<unsigned char>(random());
    const auto stored = static_cast<unsigned char>(~byte);
    EXPECT_EQ(::write(file, &stored, 1), 1);
  }
  ::close(file);
  return turned;
}

/// How often the key is in the writable memory of this process, what a sanitizer fences off included.
[[gnu::no_sanitize("address")]] std::size_t countInMemory(const TurnedKey& turned) {
  std::size_t found = 0;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned long start = 0, end = 0;
    char access[5] = "";
    // What is larger is no memory that anybody wrote to: a sanitizer keeps terabytes for notes on the rest.
    constexpr unsigned long kLargest = 1UL << 32;
    if (std::sscanf(line.c_str(), "%lx-%lx rw%2s", &start, &end, access) != 3 || end - start > kLargest) continue;
    for (const auto* at = reinterpret_cast<const unsigned char*>(start); end - start >= turned.size(); ++start, ++at) {
      std::size_t same = 0;
      while (same < turned.size() && static_cast<unsigned char>(~at[same]) == turned[same]) ++same;
      if (same == turned.size()) ++found;
    }
  }
  return found;
}

TEST(KeyMemory, IsWipedWithTheRecording) {
  ProtectedRecorder recorder;
  const TurnedKey turned = makeKeyFile(recorder.setting("CommonKeyPath"));
  EXPECT_EQ(countInMemory(turned), 0U);
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(kAv.until(8001)), 0U);
  EXPECT_EQ(countInMemory(turned), 1U) << "in use";
  recorder.stop();
  EXPECT_EQ(countInMemory(turned), 0U);
  recorder.close();
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_EQ(countInMemory(turned), 1U);
  recorder.close();
  EXPECT_EQ(countInMemory(turned), 0U) << "also without a stop";
  recorder.setting("PackagerCredentialPwd") = "wrong";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(video().until(4001)), 1U);
  EXPECT_EQ(countInMemory(turned), 0U) << "also where the set-up fails";
}

}  // namespace
