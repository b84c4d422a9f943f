// The small files, at the system calls that write and swap them.

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "platform/os/durableFiles.h"
#include "tests/durability/SystemCalls.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"
#include "util/bytes.h"

namespace {

using namespace platform::os;
using qvs::util::asBytes;

class SmallFiles : public testing::Test {
 protected:
  static std::string text(const std::optional<std::vector<std::byte>>& content) {
    return content ? test::textOf(*content) : "(nothing)";
  }
  bool put(std::string_view name, std::string_view content) { return writeFile(dir_.file(name), asBytes(content)); }
  std::string get(std::string_view name) { return text(readFile(dir_.file(name), 1000)); }

  test::TempDirectory dir_;
};

TEST_F(SmallFiles, WriteReplacesTheWholeOldContentAndFlushesNothing) {
  const test::SystemCalls calls(dir_.path());
  for (const char* const content : {"a long old content", "new", ""}) {
    ASSERT_TRUE(put("a", content));
    EXPECT_EQ(get("a"), content);
  }
  for (const auto& operation : calls.operations()) EXPECT_NE(operation.kind, test::FileOperation::Kind::kFlush);
}

TEST_F(SmallFiles, ShortAndInterruptedWritesLoseNothing) {
  for (const int error : {0, EINTR}) {
    const test::SystemCalls calls(dir_.path(), {.calls = "write", .error = error, .count = 3});
    ASSERT_TRUE(put("a", "0123456789"));
    EXPECT_EQ(get("a"), "0123456789");
    EXPECT_TRUE(calls.faultPassed());
  }
}

TEST_F(SmallFiles, WriteOrSyncToAFullOrMissingPlaceFails) {
  EXPECT_FALSE(writeFile("/dev/full", asBytes("x")));
  EXPECT_FALSE(put("no/such/directory", "x"));
  EXPECT_FALSE(syncFile(dir_.file("missing")));
  EXPECT_FALSE(put("", "x"));
}

TEST_F(SmallFiles, ReadStopsAtTheLimit) {
  ASSERT_TRUE(put("a", "12345"));
  EXPECT_EQ(text(readFile(dir_.file("a"), 5)), "12345");
  EXPECT_FALSE(readFile(dir_.file("a"), 4));
  EXPECT_FALSE(readFile("/dev/zero", 100000)) << "a file without an end";
  EXPECT_FALSE(readFile(dir_.file("missing"), 5));
  EXPECT_FALSE(readFile(dir_.path().string(), 5));
}

TEST_F(SmallFiles, FailedSwapKeepsBothFiles) {
  ASSERT_TRUE(put("to", "old"));
  ASSERT_TRUE(put("from", "new"));
  for (const auto swap : {replaceFile, exchangeFiles}) {
    for (const auto& [from, to] : {std::pair("from", ""), std::pair("missing", "to"), std::pair("from", "missing/to")})
      EXPECT_FALSE(swap(dir_.file(from), dir_.file(to))) << to;
    const test::SystemCalls calls(dir_.path(), {.calls = "fsync", .error = EIO});
    EXPECT_FALSE(swap(dir_.file("from"), dir_.file("to")));
    EXPECT_EQ(get("to") + get("from"), "oldnew");
  }
}

TEST_F(SmallFiles, SwapReportsADirectoryThatDidNotReachTheDevice) {
  const std::pair<int, bool> errorsAndAnswers[] = {{EIO, false}, {EINVAL, true}, {EINTR, true}};
  for (const auto& [error, swapped] : errorsAndAnswers) {
    for (const auto swap : {replaceFile, exchangeFiles}) {
      ASSERT_TRUE(put("from", "new") && put("to", "old"));
      const test::SystemCalls calls(dir_.path(), {.calls = "fsync", .error = error, .first = 1});
      EXPECT_EQ(swap(dir_.file("from"), dir_.file("to")), swapped) << error;
      EXPECT_TRUE(calls.faultHappened());
    }
    EXPECT_EQ(get("to") + get("from"), "newold") << "exchanged";
  }
}

TEST_F(SmallFiles, OnlyAFileThatNobodyElseSeesIsExtended) {
  const auto extend = [&](std::string_view name) {
    return extendFile(dir_.file(name), 4, asBytes("H"), asBytes("tail"));
  };
  ASSERT_TRUE(put("a", "head"));
  std::optional<std::ifstream> reader(dir_.file("a"));
  EXPECT_FALSE(extend("a")) << "a reader has it open";
  reader.reset();
  std::filesystem::create_hard_link(dir_.file("a"), dir_.file("copy"));
  EXPECT_FALSE(extend("a")) << "it has another name";
  ASSERT_TRUE(writeNewFile(dir_.file("copy"), asBytes("new"))) << "which loses the name only";
  std::filesystem::create_symlink("a", dir_.file("link"));
  EXPECT_FALSE(extend("link") || extend("missing"));
  EXPECT_EQ(get("a") + get("copy"), "headnew");
  EXPECT_TRUE(extend("a"));
  EXPECT_EQ(get("a"), "Headtail");
  EXPECT_FALSE(extend("a")) << "it has another size now";
}

}  // namespace
