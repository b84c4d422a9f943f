#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "tests/encryption/FakeLibrary.h"
#include "tests/support/hex.h"
#include "tests/wrappers/statusOf.h"
#include "util/QVSException.h"
#include "wrappers/rkx/RKXEncryptor.h"
#include "wrappers/rkx/RKXException.h"
#include "wrappers/rkx/library.h"

namespace {

using namespace test;
using rkx::RKXEncryptor;
using Calls = std::vector<std::string>;

constexpr RKXEncryptionOptions kOptions{1, 0, 1, 2, 0};

constexpr auto statusOf = [](const auto& call) { return test::statusOf<rkx::RKXException>(call); };

RKXEncryptor makeEncryptor() {
  return {std::as_bytes(std::span("key", 3)), "content", kOptions};
}

// First in the program: a table that was once good is kept.
TEST(RkxTables, AreAskedForUntilTheyAreGood) {
  FakeLibrary library;
  const auto make = [] { makeEncryptor().makeMetadata({}); };
  library.encryptorWords = 4;
  EXPECT_EQ(statusOf(make), 1U);
  library.encryptorWords = 5;
  library.noTable = true;
  EXPECT_EQ(statusOf(make), 1U);
  library.noTable = false;
  library.statuses["encryptorTable"] = 77;
  EXPECT_EQ(statusOf(make), 1U) << "whatever the library's reason";
  library.statuses.clear();
  library.metadataWords = 4;
  EXPECT_EQ(statusOf(make), 1U);
  library.metadataWords = 9;
  EXPECT_EQ(statusOf(make), 0U) << "a longer table";
  library.encryptorWords = 0;
  library.metadataWords = 0;
  library.calls.clear();
  EXPECT_EQ(statusOf(make), 0U);
  EXPECT_EQ(library.calls.size(), 2U) << "kept: only createEncryptor and createMetadata";
  EXPECT_EQ(library.objects, 0);
}

TEST(RkxHandles, GiveTheObjectBackWithTheLastCopy) {
  FakeLibrary library;
  std::optional<RKXEncryptor> first = makeEncryptor();
  const std::optional<rkx::DRMMetadata> metadata = first->makeMetadata({});
  EXPECT_EQ(library.objects, 2);
  const RKXEncryptor second = *first;
  first.reset();
  EXPECT_EQ(library.objects, 2);
  EXPECT_TRUE(second);
  EXPECT_EQ(hex(metadata->bytes().bytes()), hex("block"));
}

TEST(RkxHandles, PassOnEveryStatus) {
  FakeLibrary library;
  const struct {
    const char* call;
    std::function<void()> use;
  } rows[] = {
      {"createEncryptor", [] { makeEncryptor(); }},
      {"createMetadata", [] { makeEncryptor().makeMetadata({}); }},
      {"metadataSize", [] { makeEncryptor().makeMetadata({}).bytes(); }},
      {"copyMetadata", [] { makeEncryptor().makeMetadata({}).bytes(); }},
      {"querySample", [] { makeEncryptor().querySample({}, kRKXAudio, 0, false); }},
      {"encryptSample", [] { makeEncryptor().encryptSample({}, {}, {}); }},
      {"initialize",
       [] {
         rkx::LibraryBlock block{};
         rkx::initialise(block);
       }},
  };
  for (const auto& row : rows) {
    library.statuses = {{row.call, 11}};
    EXPECT_EQ(statusOf(row.use), 11U) << row.call;
    EXPECT_EQ(library.objects, 0) << row.call;
  }
}

TEST(RkxEncryptor, HandsOverWhatTheLibraryAsksFor) {
  FakeLibrary library;
  const RKXEncryptor encryptor = makeEncryptor();
  const RKXPolicy policy{reinterpret_cast<const std::uint8_t*>("policy"), 6};
  encryptor.makeMetadata({.licenseServerUrl = "url",
                          .transportCert = std::as_bytes(std::span("t", 1)),
                          .licenseServerCert = std::as_bytes(std::span("l", 1)),
                          .credential = std::as_bytes(std::span("c", 1)),
                          .password = "p",
                          .policies = {&policy, 1}});
  encryptor.querySample(fromHex("00 01 02"), kRKXVideo, 40, true);
  // The first use in a process asks for the tables, too.
  std::erase_if(library.calls, [](const auto& call) { return call.find("Table ") != std::string::npos; });
  EXPECT_EQ(library.calls, (Calls{"createEncryptor 'key' 'content' 1 0 1 2 0 1 0",
                                  "createMetadata 'url' 't' 'l' 'c' 'p' 'policy' 0", "querySample 3 1 40 0 0 1 4"}));
}

TEST(RkxEncryptor, RefusesASampleOfAnotherSizeThanWasSaid) {
  FakeLibrary library;
  std::vector<std::byte> cipher(16);
  std::vector<std::byte> vector(16);
  makeEncryptor().encryptSample(fromHex("00ff"), cipher, vector);
  EXPECT_EQ(hex(cipher), "ff000e0e 0e0e0e0e 0e0e0e0e 0e0e0e0e");
  library.missing = 1;
  EXPECT_THROW(makeEncryptor().encryptSample(fromHex("00ff"), cipher, vector), qvs::QVSException);
}

}  // namespace
