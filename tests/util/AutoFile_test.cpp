#include "util/AutoFile.h"
#include "imo/IMOFileContext.h"
#include "tests/support/testing.h"
#include "tests/util/failures.h"
#include "util/bytes.h"

namespace qvs::util {
namespace {

/// A host with one file in memory, which traces what it is asked for and returns what it is set to.
class OneFile final : public IMOFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    calls << "open(" << path << ',' << std::hex << flags << ',' << mode << ',' << share << std::dec << ") ";
    return handle;
  }
  void close(std::int32_t of, std::uint32_t) override { calls << "close(" << of << ") "; }
  std::int32_t read(std::int32_t of, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    calls << "read(" << of << ',' << offset << ',' << length << ") ";
    std::ranges::copy(content, static_cast<char*>(buffer));
    return length > content.size() ? -1 : 0;
  }
  std::int32_t write(std::int32_t of, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    calls << "write(" << of << ',' << offset << ',' << length << ") ";
    content.assign(static_cast<const char*>(buffer), length);
    return of == -1 ? -1 : static_cast<std::int32_t>(length) + tooMany;
  }
  std::int32_t fileStatus(std::int32_t, IMOFileStatus* status, std::uint32_t) override {
    status->size = size;
    return statusAnswer;
  }
  std::int32_t pathStatus(const char* path, IMOFileStatus*, std::uint32_t) override { return path == present ? 0 : -1; }
  std::int32_t remove(const char*, std::uint32_t, std::uint32_t) override { return -1; }
  std::int32_t createDirectory(const char* path) override {
    calls << "createDirectory(" << path << ") ";
    return -1;
  }

  std::string content;
  std::int64_t size = 0;
  /// `tooMany` is what the result of a write has above its length.
  std::int32_t handle = 7, statusAnswer = 0, tooMany = 0;
  /// The one path that exists.
  std::string present = "file";
  std::ostringstream calls;
};

class AutoFile : public testing::Test {
 protected:
  AutoFileLoad load(std::int64_t size) {
    files_.size = size;
    return {NQString(u"file"), &files_};
  }
  AutoFileSave save(std::uint32_t initialSize, std::string_view path = "file") {
    return {NQString(path), &files_, initialSize};
  }
  std::string calls() { return std::exchange(files_.calls, {}).str(); }

  OneFile files_;
};

constexpr auto failureOf = [](const auto& operation) { return test::failureOf<FileReadException>(operation); };

std::string readText(AutoFileLoad& load, std::size_t size) {
  std::string text(size, '-');
  load.read(text.data(), size);
  return text;
}

TEST_F(AutoFile, SaysWhyAFileIsNotLoaded) {
  const std::tuple<std::int32_t, std::int32_t, std::int64_t, const char*, const char*> rows[] = {
      {-1, 0, 4, "Could not open file:file", ""},
      {0, -1, 4, "Could not open file:file", "close(0) "},
      {0, 0, -1, "Read buffer size too large to initialize, size = -1", "close(0) "},
      {0, 0, 1LL << 32, "Read buffer size too large to initialize, size = 4294967296", "close(0) "},
      {0, 0, 0, "(nothing)", "close(0) "},
      {0, 0, 4, "(nothing)", "read(0,0,4) close(0) "}};
  for (const auto& [handle, statusAnswer, size, failure, callsBehindOpen] : rows) {
    files_.handle = handle;
    files_.statusAnswer = statusAnswer;
    EXPECT_EQ(failureOf([&, bytes = size] { load(bytes); }), failure);
    EXPECT_EQ(calls(), std::string("open(file,8000,180,0) ") + callsBehindOpen);
  }
}

TEST_F(AutoFile, HandsOutTheFileFrontToBack) {
  files_.content = "0123456789";
  AutoFileLoad file = load(10);
  EXPECT_EQ(readText(file, 4), "0123");
  char rest[8] = "-------";
  EXPECT_EQ(failureOf([&] { file.read(rest, 0x100000000); }), "Read from buffer size too large, size = 4294967296");
  EXPECT_EQ(failureOf([&] { file.read(rest, 0xFFFFFFFF); }), "Failed to read file buffer, bytesRead = 6");
  EXPECT_STREQ(rest, "456789-") << "what there was";
}

TEST_F(AutoFile, ZerosWhatTheHostDoesNotDeliver) {
  files_.content = "01";
  AutoFileLoad file = load(4);
  EXPECT_EQ(readText(file, 4), std::string("01\0\0", 4));
}

TEST_F(AutoFile, GrowsByDoublingAndKeepsWhatItHas) {
  AutoFileSave file = save(16);
  file.write("0123456789", 10);
  test::failingBuffers = 1;
  const std::string more(100, 'x');
  EXPECT_EQ(failureOf([&] { file.write(more.data(), 100); }),
            "Failed to grow write buffer from oldSize 16 to newSize 32");
  file.write(more.data(), 100);
  file.commit();
  EXPECT_EQ(files_.content, "0123456789" + more);
  EXPECT_EQ(calls(), "open(file,8301,180,0) write(7,0,110) close(7) ");
  for (const std::uint32_t size : {0U, 0x80000000U})
    EXPECT_EQ(failureOf([&] { save(size).write("", size + 1ULL); }),
              "Failed to grow write buffer from oldSize " + std::to_string(size) + " to newSize 0");
}

TEST_F(AutoFile, CommitMakesTheDirectoryInFrontOfTheLastBackslash) {
  const std::pair<std::string, std::string> rows[] = {
      {"\\a\\b\\file", "createDirectory(\\a\\b) "}, {"file", ""}, {"a/file", ""}, {"\\file", ""}};
  for (const auto& [file, created] : rows) {
    save(4, file).commit();
    EXPECT_EQ(calls(), created + "open(" + file + ",8301,180,0) write(7,0,0) close(7) ");
  }
}

TEST_F(AutoFile, CommitReportsAnyResultButTheLength) {
  AutoFileSave file = save(4);
  file.write("0123", 4);
  for (const std::int32_t answer : {-28, 3, 5}) {
    files_.tooMany = answer - 4;
    const std::string why = (answer < 0 ? "errorCode = " : "bytesWritten = ") + std::to_string(answer);
    EXPECT_EQ(failureOf([&] { file.commit(); }), "FileIO write failed, " + why);
  }
  files_.handle = -1;
  EXPECT_EQ(failureOf([&] { file.commit(); }), "FileIO write failed, errorCode = -1");
  EXPECT_TRUE(calls().ends_with("open(file,8301,180,0) write(-1,0,4) ")) << "nothing to close";
}

TEST_F(AutoFile, NumbersAreBigEndianOfTheWidthAskedFor) {
  for (const auto& [byteCount, image] : {std::pair(3, "060708"), {8, "f1020304 05060708"}, {0, ""}}) {
    AutoFileSave file = save(16);
    writeNumber(file, static_cast<std::size_t>(byteCount), 0xF102030405060708);
    file.commit();
    EXPECT_EQ(test::hex(files_.content), image);
    AutoFileLoad in = load(byteCount);
    EXPECT_EQ(readNumber(in, static_cast<std::size_t>(byteCount)), byteCount == 3   ? 0x060708U
                                                                   : byteCount == 8 ? 0xF102030405060708U
                                                                                    : 0U);
  }
}

}  // namespace
}  // namespace qvs::util
