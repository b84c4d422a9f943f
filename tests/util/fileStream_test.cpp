#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/FileStream.h"

namespace ruvo::k2r {
namespace {

class FileStreamTest : public testing::Test {
 protected:
  std::string path(std::string_view name = "file") { return dir_.file(name); }
  void put(std::string_view content) { test::writeWholeFile(path(), std::string(content)); }
  std::string get() { return test::readWholeFile(path()); }

  test::TempDirectory dir_;
};

/// What the operation throws: its code, or -1 for nothing.
template <typename Operation>
std::int64_t codeOf(const Operation& operation) {
  try {
    operation();
  } catch (const IOStreamException& failure) {
    EXPECT_EQ(failure.message(), "");
    return failure.code();
  }
  return -1;
}

std::string readUpTo(IStream& stream, std::uint32_t count) {
  std::string text(count, '\0');
  text.resize(stream.read(text.data(), count));
  return text;
}

/// What a stream with these flags does to a file that holds "old": "[opened] [what it reads] [the file after a write]".
std::string behaviour(const std::string& file, std::uint32_t flags) {
  FileStream stream(file, flags);
  if (const auto code = codeOf([&] { stream.open(); }); code != -1) return "code " + std::to_string(code);
  std::string seen;
  if (codeOf([&] { seen = readUpTo(stream, 10); }) != -1) seen = "-";
  codeOf([&] {
    stream.seek(0, 0);
    stream.write("NE", 2);
  });
  stream.close();
  return "'" + seen + "' '" + test::readWholeFile(file) + "'";
}

TEST(IOStreamException, HasACodeForEachErrorNumber) {
  const struct {
    int errorNumber;
    std::uint32_t code;
  } rows[] = {{0, 0}, {ENOENT, 6}, {EACCES, 3}, {EEXIST, 4}, {EINVAL, 2}, {EMFILE, 5}, {EIO, 1}, {EPERM, 1}, {-1, 1}};
  for (const auto& row : rows) EXPECT_EQ(IOStreamException(row.errorNumber, "").code(), row.code) << row.errorNumber;
}

TEST(OpenFlagsFor, AnswersWhatIsWritableAndKept) {
  EXPECT_EQ(openFlagsFor(true, false), 0x8302U);
  EXPECT_EQ(openFlagsFor(true, true), 0x8102U);
  EXPECT_EQ(openFlagsFor(false, true), 0x8000U);
  EXPECT_EQ(openFlagsFor(false, false), 0x8000U);
}

TEST_F(FileStreamTest, EachFlagMeansWhatItSays) {
  const struct {
    std::uint32_t flags;
    const char* onAFile;
    const char* onNone;
  } rows[] = {
      {0x8000, "'old' 'old'", "code 6"},   {0x8001, "'-' 'NEd'", "code 6"},      {0x8002, "'old' 'NEd'", "code 6"},
      {0x800A, "'old' 'oldNE'", "code 6"}, {0x8102, "'old' 'NEd'", "'' 'NE'"},   {0x8202, "'' 'NE'", "code 6"},
      {0x8302, "'' 'NE'", "'' 'NE'"},      {0x8502, "code 4", "'' 'NE'"},        {0x4102, "'old' 'NEd'", "'' 'NE'"},
      {0x0000, "'old' 'old'", "code 6"},   {0xFFFF38F4, "'old' 'old'", "code 6"}};
  for (const auto& row : rows) {
    put("old");
    EXPECT_EQ(behaviour(path(), row.flags), row.onAFile) << std::hex << row.flags;
    std::filesystem::remove(path());
    EXPECT_EQ(behaviour(path(), row.flags), row.onNone) << std::hex << row.flags;
    std::filesystem::remove(path());
  }
}

TEST_F(FileStreamTest, ANewFileIsItsOwnersAlone) {
  FileStream stream(path(), openFlagsFor(true, true));
  EXPECT_EQ(stream.open(), 0U);
  stream.close();
  struct stat status {};
  ASSERT_EQ(::stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(FileStreamTest, FailuresTellCodeAndPath) {
  put("x");
  const struct {
    const char* why;
    std::string path;
    std::int64_t code;
  } rows[] = {{"missing", path("missing"), 6},
              {"an invalid path", path("file") + "/beyond", 1},
              {"a directory", dir_.path().string(), 1},
              {"a name that no file has", std::string(5000, 'n'), 1}};
  for (const auto& row : rows) {
    FileStream stream(row.path, openFlagsFor(true, true) & ~std::uint32_t{platform::os::kOpenCreate});
    try {
      stream.open();
      ADD_FAILURE() << row.why;
    } catch (const IOStreamException& failure) {
      EXPECT_EQ(failure.code(), row.code) << row.why;
      EXPECT_EQ(failure.path(), row.path);
    }
    EXPECT_EQ(stream.tell(), -1) << row.why << ": stays closed";
  }
}

TEST_F(FileStreamTest, SaysThatTooManyFilesAreOpen) {
  put("x");
  FileStream stream(path(), openFlagsFor(false, true));
  // A sanitizer opens files of its own to look at an object of a kind that it sees for the first time: let it see both.
  stream.open();
  stream.close();
  codeOf([&] { FileStream(dir_.path().string(), openFlagsFor(true, true)).open(); });
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{0, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::int64_t code = codeOf([&] { stream.open(); });
  ::setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(code, 5);
}

TEST_F(FileStreamTest, SeeksFromStartEndAndHere) {
  put("0123456789");
  FileReadStream stream(path());
  stream.open();
  const struct {
    std::int64_t offset;
    std::uint32_t mode;
    std::int64_t position;
  } rows[] = {{4, 0, 4}, {3, 1, 7}, {-2, 7, 5}, {-1, 2, 9}, {0, 0xFFFFFFFF, 9}, {5, 2, 15}, {1LL << 40, 0, 1LL << 40}};
  for (const auto& row : rows) {
    EXPECT_EQ(stream.seek(row.offset, row.mode), row.position);
    EXPECT_EQ(stream.tell(), row.position);
  }
  EXPECT_EQ(codeOf([&] { stream.seek(-1, 0); }), 2);
  EXPECT_EQ(stream.tell(), 1LL << 40) << "a failed seek moves nothing";
  stream.close();
}

TEST_F(FileStreamTest, ReadsToTheEndAndNotBeyond) {
  put("0123456789");
  FileReadStream stream(path());
  EXPECT_EQ(stream.open(), 0U);
  EXPECT_EQ(readUpTo(stream, 6), "012345");
  EXPECT_EQ(readUpTo(stream, 6), "6789");
  EXPECT_EQ(readUpTo(stream, 6), "");
  stream.close();
}

TEST_F(FileStreamTest, NoBytesOrNoBufferTouchNothing) {
  FileStream closed(path("missing"), openFlagsFor(true, true));
  char byte = 'x';
  EXPECT_EQ(closed.read(nullptr, 1), 0U);
  EXPECT_EQ(closed.read(&byte, 0), 0U);
  EXPECT_EQ(closed.write(nullptr, 1), 0U);
  EXPECT_EQ(closed.write(&byte, 0), 0U);
}

TEST_F(FileStreamTest, AClosedStreamFailsAndClosesAgain) {
  put("x");
  FileStream stream(path(), openFlagsFor(true, true));
  stream.open();
  stream.close();
  stream.close();
  char byte = 0;
  EXPECT_EQ(codeOf([&] { stream.read(&byte, 1); }), 1);
  EXPECT_EQ(codeOf([&] { stream.write(&byte, 1); }), 1);
  EXPECT_EQ(codeOf([&] { stream.seek(0, 0); }), 1);
  EXPECT_EQ(codeOf([&] { stream.truncate(0); }), 1);
  EXPECT_EQ(stream.tell(), -1);
  EXPECT_EQ(stream.open(), 0U) << "may be opened again";
  stream.close();
}

TEST_F(FileStreamTest, TruncatesBothWays) {
  put("0123456789");
  FileStream stream(path(), openFlagsFor(true, true));
  stream.open();
  EXPECT_EQ(stream.truncate(4), 0U);
  EXPECT_EQ(get(), "0123");
  EXPECT_EQ(stream.truncate(6), 0U);
  EXPECT_EQ(get(), std::string("0123\0\0", 6));
  EXPECT_EQ(codeOf([&] { stream.truncate(-1); }), 2);
  EXPECT_EQ(stream.truncate((1LL << 32) + 1), 0U);
  EXPECT_EQ(std::filesystem::file_size(path()), (1ULL << 32) + 1);
  stream.close();
}

TEST_F(FileStreamTest, AFullDeviceFailsAndLeavesTheStreamOpen) {
  FileStream stream("/dev/full", openFlagsFor(true, true));
  stream.open();
  EXPECT_EQ(codeOf([&] { stream.write("x", 1); }), 1);
  EXPECT_NE(stream.tell(), -1);
  stream.close();
}

TEST_F(FileStreamTest, AnswersAShortWrite) {
  put("");
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit six{6, limit.rlim_max};
  FileStream stream(path(), openFlagsFor(true, true));
  stream.open();
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &six), 0);
  const std::uint32_t written = stream.write("0123456789", 10);
  ::setrlimit(RLIMIT_FSIZE, &limit);
  stream.close();
  EXPECT_EQ(written, 6U);
  EXPECT_EQ(get(), "012345");
}

TEST_F(FileStreamTest, OpensPathsOfTheModule) {
  put("x");
  FileReadStream stream(test::modulePath(path()));
  stream.open();
  EXPECT_EQ(readUpTo(stream, 2), "x");
  stream.close();
}

}  // namespace
}  // namespace ruvo::k2r
