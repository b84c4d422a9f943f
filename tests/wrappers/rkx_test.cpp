#include "tests/support/FakeLibrary.h"
#include "tests/support/statusOf.h"
#include "tests/support/testing.h"
#include "wrappers/rkx/RKXEncryptor.h"
#include "wrappers/rkx/RKXException.h"
#include "wrappers/rkx/library.h"

namespace {

using namespace test;
using rkx::RKXEncryptor;

constexpr RKXEncryptionOptions kOptions{1, 0, 1, 2, 0};

constexpr auto statusOf = [](const auto& call) { return test::statusOf<rkx::RKXException>(call); };

RKXEncryptor makeEncryptor() {
  return {std::as_bytes(std::span("key", 3)), "content", kOptions};
}

// First in the program: a table that was once good is kept.
TEST(RkxTables, AreAskedForUntilTheyAreGood) {
  FakeLibrary library;
  const auto make = [] { makeEncryptor().makeMetadata({}); };
  // Words of the encryptor's table, whether there is one, the status of asking for it, words of the metadata's table.
  const std::tuple<std::uint64_t, bool, RKXStatus, std::uint64_t, RKXStatus> rows[] = {
      {4, true, 0, 5, 1}, {5, false, 0, 5, 1}, {5, true, 77, 5, 1}, {5, true, 0, 4, 1}, {5, true, 0, 9, 0}};
  for (const auto& [words, isThere, status, metadataWords, expected] : rows) {
    std::tie(library.encryptorWords, library.metadataWords) = std::tie(words, metadataWords);
    library.noTable = !isThere;
    library.statuses["encryptorTable"] = status;
    EXPECT_EQ(statusOf(make), expected) << words << ' ' << status << ' ' << metadataWords;
  }
  library.encryptorWords = library.metadataWords = 0;
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
  EXPECT_EQ(hex(metadata->bytes().bytes()), hex("block"));
}

TEST(RkxHandles, PassOnEveryStatus) {
  FakeLibrary library;
  const std::pair<const char*, std::function<void()>> uses[] = {
      {"createEncryptor", [] { makeEncryptor(); }},
      {"createMetadata", [] { makeEncryptor().makeMetadata({}); }},
      {"metadataSize", [] { makeEncryptor().makeMetadata({}).bytes(); }},
      {"copyMetadata", [] { makeEncryptor().makeMetadata({}).bytes(); }},
      {"querySample", [] { makeEncryptor().querySample({}, kRKXAudio, 0, false); }},
      {"encryptSample", [] { makeEncryptor().encryptSample({}, {}, {}); }},
      {"initialize", [block = rkx::LibraryBlock()]() mutable { rkx::initialise(block); }}};
  for (const auto& [call, use] : uses) {
    library.statuses = {{call, 11}};
    EXPECT_EQ(statusOf(use), 11U) << call;
    EXPECT_EQ(library.objects, 0) << call;
  }
}

}  // namespace
