#include "util/AutoFile.h"
#include "imo/IMOFileContext.h"
#include "tests/support/testing.h"
#include "tests/util/failures.h"
#include "util/bytes.h"

namespace qvs::util {
namespace {

constexpr std::uint32_t kMostRead = 1U << 20;

/// A host with one file in memory, which traces what it is asked for and returns what it is set to.
class OneFile final : public IMOFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    calls << "open(" << path << ',' << std::hex << flags << ',' << mode << ',' << share << std::dec << ") ";
    return handle;
  }
  void close(std::int32_t of, std::uint32_t flags) override {
    EXPECT_EQ(flags, 0U);
    calls << "close(" << of << ") ";
  }
  std::int32_t read(std::int32_t of, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    calls << "read(" << of << ',' << offset << ',' << length << ") ";
    if (length > kMostRead) throw std::length_error("too long to hold");
    std::ranges::copy(content, static_cast<char*>(buffer));
    return readAnswer;
  }
  std::int32_t write(std::int32_t of, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    calls << "write(" << of << ',' << offset << ',' << length << ") ";
    content.assign(static_cast<const char*>(buffer), length);
    return of == -1 ? -1 : static_cast<std::int32_t>(length) + tooMany;
  }
  std::int32_t fileStatus(std::int32_t of, IMOFileStatus* status, std::uint32_t flags) override {
    EXPECT_EQ(of, handle);
    EXPECT_EQ(flags, 0U);
    status->size = size;
    return statusAnswer;
  }
  std::int32_t pathStatus(const char* path, IMOFileStatus*, std::uint32_t flags) override {
    EXPECT_EQ(flags, 0U);
    return path == present ? 0 : absentAnswer;
  }
  std::int32_t remove(const char*, std::uint32_t, std::uint32_t) override { return -1; }
  std::int32_t createDirectory(const char* path) override {
    calls << "createDirectory(" << path << ") ";
    return -1;
  }

  std::string content;
  std::int64_t size = 0;
  /// `tooMany` is what the result of a write has above its length.
  std::int32_t handle = 7, statusAnswer = 0, readAnswer = 0, tooMany = 0;
  /// The one path that exists, and what is answered for any other.
  std::string present = "file";
  std::int32_t absentAnswer = -1;
  std::ostringstream calls;
};

class AutoFile : public testing::Test {
 protected:
  /// Of as many bytes as there are, unless set otherwise.
  AutoFileLoad load(std::optional<std::int64_t> size = {}) {
    files_.size = size.value_or(static_cast<std::int64_t>(files_.content.size()));
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
      {-1, 0, 4, "Could not open file:dir\\file", ""},
      {0, -1, 4, "Could not open file:dir\\file", "close(0) "},
      {0, 1, 4, "Could not open file:dir\\file", "close(0) "},
      {0, 0, -1, "Read buffer size too large to initialize, size = -1", "close(0) "},
      {0, 0, 1LL << 32, "Read buffer size too large to initialize, size = 4294967296", "close(0) "},
      {0, 0, 0, "(nothing)", "close(0) "},
      {0, 0, 4, "(nothing)", "read(0,0,4) close(0) "},
      {-2, 0, 4, "(nothing)", "read(-2,0,4) close(-2) "}};
  for (const auto& [handle, statusAnswer, size, failure, callsBehindOpen] : rows) {
    files_.handle = handle;
    files_.statusAnswer = statusAnswer;
    files_.size = size;
    EXPECT_EQ(failureOf([&] { AutoFileLoad(NQString(u"dir\\file"), &files_); }), failure);
    EXPECT_EQ(calls(), std::string("open(dir\\file,8000,180,0) ") + callsBehindOpen);
  }
  EXPECT_THROW(load(kMostRead + 1), std::length_error);
  EXPECT_TRUE(calls().ends_with(") close(-2) ")) << "whatever the host throws";
}

TEST_F(AutoFile, HandsOutTheFileFrontToBack) {
  files_.content = "0123456789";
  AutoFileLoad file = load();
  EXPECT_EQ(readText(file, 4), "0123");
  char rest[8] = "-------";
  EXPECT_EQ(failureOf([&] { file.read(rest, 0x100000000); }), "Read from buffer size too large, size = 4294967296");
  EXPECT_EQ(failureOf([&] { file.read(rest, 0xFFFFFFFF); }), "Failed to read file buffer, bytesRead = 6");
  EXPECT_STREQ(rest, "456789-") << "what there was";
  EXPECT_EQ(failureOf([&] { readText(file, 1); }), "Failed to read file buffer, bytesRead = 0");
  EXPECT_EQ(readText(file, 0), "");
}

TEST_F(AutoFile, KeepsWhatIsDeliveredAndZerosTheRestWhateverTheHostReturns) {
  for (const std::int32_t answer : {-1, 0, 1, 4, 5}) {
    files_.readAnswer = answer;
    for (const std::string delivered : {"0123", "01", ""}) {
      files_.content = delivered;
      AutoFileLoad file = load(4);
      EXPECT_EQ(readText(file, 4), delivered + std::string(4 - delivered.size(), '\0')) << answer;
    }
  }
}

TEST_F(AutoFile, GrowsByDoublingAndKeepsWhatItHas) {
  AutoFileSave file = save(16);
  file.write("0123456789", 10);
  EXPECT_EQ(failureOf([&] { file.write("", 0x100000000); }), "Write buffer size too large, size = 4294967296");
  test::failingBuffers = 1;
  const std::string more(100, 'x');
  EXPECT_EQ(failureOf([&] { file.write(more.data(), 100); }),
            "Failed to grow write buffer from oldSize 16 to newSize 32");
  file.write(more.data(), 100);
  file.commit();
  EXPECT_EQ(files_.content, "0123456789" + more);
  EXPECT_EQ(calls(), "open(file,8301,180,0) write(7,0,110) close(7) ");
  const std::string fails = "Failed to grow write buffer from oldSize ";
  EXPECT_EQ(failureOf([&] { save(0).write("", 0); }), "(nothing)");
  EXPECT_EQ(failureOf([&] { save(0).write("", 0xFFFFFFFF); }), fails + "0 to newSize 0");
  EXPECT_EQ(failureOf([&] { save(0x80000000).write("", 0x80000001); }), fails + "2147483648 to newSize 0");
}

TEST_F(AutoFile, GoesOnBehindABufferAndLeavesItAlone) {
  NQBuffer buffer(NQMemoryPtr::make(4U));
  std::ranges::copy(asBytes("0123"), buffer.data());
  buffer.setEnd(3);
  buffer.setStart(1);
  AutoFileSave file(NQString(u"file"), &files_, buffer);
  file.write("abcdef", 6);
  file.commit();
  EXPECT_EQ(files_.content, "012abcdef");
  EXPECT_EQ(test::hex(std::span(buffer.data(), buffer.capacity())), "30313233");
  EXPECT_THROW(AutoFileSave(NQString(), &files_, NQBuffer()).write("x", 1), FileReadException) << "nothing to grow";
}

TEST_F(AutoFile, CommitMakesTheDirectoryInFrontOfTheLastBackslash) {
  const std::string path = "\\a\\b\\file", create = "createDirectory(\\a\\b) ";
  const std::tuple<std::string, const char*, std::int32_t, std::string> rows[] = {
      {path, "\\a\\b", -1, create}, {path, "", 1, create},  {path, path.c_str(), -1, ""},
      {"a/file", "", -1, ""},       {"\\file", "", -1, ""}, {"dir\\", "", -1, "createDirectory(dir) "}};
  for (const auto& [file, present, absentAnswer, created] : rows) {
    files_.present = present;
    files_.absentAnswer = absentAnswer;
    save(4, file).commit();
    EXPECT_EQ(calls(), created + "open(" + file + ",8301,180,0) write(7,0,0) close(7) ") << present;
  }
  files_.handle = -1;
  EXPECT_EQ(failureOf([&] { save(4).commit(); }), "FileIO write failed, errorCode = -1");
  EXPECT_EQ(calls(), "open(file,8301,180,0) write(-1,0,0) ");
}

TEST_F(AutoFile, CommitReportsAnyResultButTheLength) {
  AutoFileSave file = save(4);
  file.write("0123", 4);
  for (const std::int32_t answer : {-28, -1, 0, 3, 4, 5}) {
    files_.tooMany = answer - 4;
    const std::string why = (answer < 0 ? "errorCode = " : "bytesWritten = ") + std::to_string(answer);
    EXPECT_EQ(failureOf([&] { file.commit(); }), answer == 4 ? "(nothing)" : "FileIO write failed, " + why);
    EXPECT_EQ(calls(), "open(file,8301,180,0) write(7,0,4) close(7) ");
  }
}

TEST_F(AutoFile, NumbersAreBigEndianOfTheWidthAskedFor) {
  const std::tuple<std::size_t, std::uint64_t, const char*, std::uint64_t> rows[] = {
      {3, 0x0102030405, "030405", 0x030405},
      {8, 0xF102030405060708, "f1020304 05060708", 0xF102030405060708},
      {9, 0xF102030405060708, "f1020304 05060708", 0xF102030405060708},
      {0, 7, "", 0}};
  for (const auto& [byteCount, value, image, readBack] : rows) {
    AutoFileSave file = save(16);
    writeNumber(file, byteCount, value);
    file.commit();
    EXPECT_EQ(test::hex(files_.content), image);
    AutoFileLoad in = load();
    EXPECT_EQ(readNumber(in, byteCount), readBack);
  }
}

}  // namespace
}  // namespace qvs::util
