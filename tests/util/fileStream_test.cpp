#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/os/paths.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"
#include "util/FileStream.h"

namespace ruvo::k2r {
namespace {

struct FileStreamTest : testing::Test {
  std::string path() { return dir_.file("file"); }
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
    EXPECT_TRUE(platform::os::toNative(failure.path()).ends_with("/file")) << failure.path();
    return failure.code();
  }
  return -1;
}

std::string readUpTo(IStream& stream, std::uint32_t count) {
  std::string text(count, '\0');
  text.resize(stream.read(text.data(), count));
  return text;
}

/// What a stream with these flags does to a file: "[what it reads] [the file after a write of NE]".
std::string behaviour(const std::string& file, std::uint32_t flags) {
  FileStream stream(file, flags);
  if (const auto code = codeOf([&] { stream.open(); }); code != -1) {
    EXPECT_EQ(stream.tell(), -1) << "it stays closed";
    return "code " + std::to_string(code);
  }
  std::string seen = "-";
  codeOf([&] { seen = readUpTo(stream, 10); });
  codeOf([&] {
    stream.seek(0, 0);
    stream.write("NE", 2);
  });
  stream.close();
  return "'" + seen + "' '" + test::readWholeFile(file) + "'";
}

TEST(IOStreamException, HasACodeForEachErrorNumber) {
  const std::pair<int, std::uint32_t> rows[] = {{0, 0},      {ENOENT, 6}, {EACCES, 3}, {EEXIST, 4}, {EINVAL, 2},
                                                {EMFILE, 5}, {EIO, 1},    {EPERM, 1},  {-1, 1}};
  for (const auto& [errorNumber, code] : rows)
    EXPECT_EQ(IOStreamException(errorNumber, "").code(), code) << errorNumber;
}

TEST_F(FileStreamTest, EachFlagMeansWhatItSays) {
  EXPECT_EQ(std::pair(openFlagsFor(true, false), openFlagsFor(true, true)), std::pair(0x8302U, 0x8102U));
  EXPECT_EQ(std::pair(openFlagsFor(false, false), openFlagsFor(false, true)), std::pair(0x8000U, 0x8000U));
  const std::tuple<std::uint32_t, const char*, const char*> rows[] = {
      {0x8000, "'old' 'old'", "code 6"},    {0x8001, "'-' 'NEd'", "code 6"}, {0x8102, "'old' 'NEd'", "'' 'NE'"},
      {0x800A, "'old' 'oldNE'", "code 6"},  {0x8302, "'' 'NE'", "'' 'NE'"},  {0x8502, "code 4", "'' 'NE'"},
      {0xFFFF38F4, "'old' 'old'", "code 6"}};
  for (const auto& [flags, onAFileWithOld, onNone] : rows) {
    put("old");
    EXPECT_EQ(behaviour(path(), flags), onAFileWithOld) << std::hex << flags;
    std::filesystem::remove(path());
    EXPECT_EQ(behaviour(path(), flags), onNone) << std::hex << flags;
    std::filesystem::remove(path());
    std::filesystem::create_directory(path());
    FileStream directory(path(), flags);
    EXPECT_EQ(codeOf([&] { directory.open(); }), flags == 0x8502 ? 4 : 3) << "a directory " << std::hex << flags;
    std::filesystem::remove(path());
  }
}

TEST_F(FileStreamTest, IsReadFromWhereItStands) {
  FileReadStream stream(test::modulePath(path()));
  EXPECT_EQ(codeOf([&] { stream.open(); }), 6) << "reading makes no file";
  put("0123456789");
  EXPECT_EQ(stream.open(), 0U);
  const std::tuple<std::int64_t, std::uint32_t, std::int64_t> rows[] = {
      {4, 0, 4}, {3, 1, 7}, {-2, 7, 5}, {-1, 2, 9}, {1LL << 40, 0, 1LL << 40}};
  for (const auto& [offset, mode, position] : rows) {
    EXPECT_EQ(stream.seek(offset, mode), position);
    EXPECT_EQ(stream.tell(), position);
  }
  stream.seek(2, 0);
  EXPECT_EQ(readUpTo(stream, 6), "234567");
  EXPECT_EQ(codeOf([&] { stream.seek(-1, 0); }), 2);
  EXPECT_EQ(readUpTo(stream, 6), "89") << "a failed seek moves nothing";
  EXPECT_EQ(readUpTo(stream, 6), "");
  stream.close();
}

TEST_F(FileStreamTest, AClosedStreamFailsWhereThereIsSomethingToDo) {
  FileStream stream(path(), openFlagsFor(true, true));
  char byte = 0;
  EXPECT_EQ(stream.read(nullptr, 1) + stream.read(&byte, 0) + stream.write(nullptr, 1) + stream.write(&byte, 0), 0U);
  const std::function<void()> uses[] = {[&] { stream.read(&byte, 1); }, [&] { stream.write(&byte, 1); },
                                        [&] { stream.seek(0, 0); }, [&] { stream.truncate(0); }};
  for (const auto& use : uses) EXPECT_EQ(codeOf(use), 1);
  EXPECT_EQ(stream.tell(), -1);
}

TEST_F(FileStreamTest, ClosesItsDescriptorOnceAndOnlyWhenTold) {
  const int next = ::dup(0);
  ::close(next);
  {
    FileStream stream(path(), openFlagsFor(true, true));
    stream.open();
    EXPECT_EQ(std::filesystem::status(path()).permissions(), std::filesystem::perms(0600)) << "its owner's alone";
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC) << "no program that is started gets it";
    stream.close();
    EXPECT_EQ(::dup(0), next) << "free again";
    stream.close();
    EXPECT_EQ(::close(next), 0) << "somebody else's";
    stream.open();
  }
  EXPECT_EQ(::close(next), 0) << "left open";
}

}  // namespace
}  // namespace ruvo::k2r
