#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "util/AutoFile.h"
#include "util/NQStrUtil.h"
#include "util/bytes.h"

namespace qvs::util {
namespace {

/// Real files; what was asked for is written down, and an answer may be given in the place of the real one.
class Files final : public test::DiskFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    opened.push_back({flags, mode, share});
    const std::int32_t handle = DiskFileContext::open(path, flags, mode, share);
    if (handle != -1) ++openHandles;
    return handle;
  }
  void close(std::int32_t handle, std::uint32_t reserved) override {
    --openHandles;
    DiskFileContext::close(handle, reserved);
  }
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    return DiskFileContext::read(handle, offset, buffer, std::min(length, longestRead));
  }
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    return writeAnswer ? *writeAnswer : DiskFileContext::write(handle, offset, buffer, length);
  }
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override {
    if (!size) return DiskFileContext::fileStatus(handle, status, reserved);
    status->size = *size;
    return statusAnswer;
  }
  std::int32_t createDirectory(const char* path) override {
    made.emplace_back(path);
    return DiskFileContext::createDirectory(path);
  }

  struct Opened {
    std::uint32_t flags, mode, share;
    bool operator==(const Opened&) const = default;
  };
  std::vector<Opened> opened;
  std::vector<std::string> made;
  int openHandles = 0;
  std::uint32_t longestRead = UINT32_MAX;
  std::optional<std::int32_t> writeAnswer;
  std::optional<std::int64_t> size;
  std::int32_t statusAnswer = 0;
};

class AutoFile : public testing::Test {
 protected:
  ~AutoFile() override { EXPECT_EQ(files_.openHandles, 0) << "every handle is closed"; }

  NQString path(std::string_view name = "file") {
    return NQString(std::string_view(test::modulePath(dir_.file(name))));
  }
  void put(std::string_view content) { test::writeWholeFile(dir_.file("file"), std::string(content)); }
  std::string get(std::string_view name = "file") { return test::readWholeFile(dir_.file(name)); }
  AutoFileLoad load() { return {path(), &files_}; }
  AutoFileSave save(std::uint32_t initialSize) { return {path(), &files_, initialSize}; }

  Files files_;
  test::TempDirectory dir_;
};

/// What the operation throws; "(nothing)" where it does not.
std::string errorOf(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const FileReadException& error) {
    return std::string(toNarrow(error.text().view()).view());
  }
  return "(nothing)";
}

std::string readText(AutoFileLoad& load, std::size_t size) {
  std::string text(size, '-');
  load.read(text.data(), size);
  return text;
}

TEST_F(AutoFile, HandsOutTheFileFrontToBack) {
  put("0123456789");
  AutoFileLoad file = load();
  EXPECT_EQ(files_.opened, (std::vector<Files::Opened>{{0x8000, 0x180, 0}}));
  EXPECT_EQ(readText(file, 4), "0123");
  EXPECT_EQ(readText(file, 0), "");
  EXPECT_EQ(readText(file, 6), "456789");
  EXPECT_EQ(readText(file, 0), "");
}

TEST_F(AutoFile, AShortFileGivesWhatItHasAndSaysSo) {
  put("0123");
  AutoFileLoad file = load();
  std::string text(6, '-');
  EXPECT_EQ(errorOf([&] { file.read(text.data(), 6); }), "Failed to read file buffer, bytesRead = 4");
  EXPECT_EQ(text, "0123--");
  EXPECT_EQ(errorOf([&] { file.read(text.data(), 1); }), "Failed to read file buffer, bytesRead = 0");
}

TEST_F(AutoFile, AnEmptyFileIsValid) {
  put("");
  AutoFileLoad file = load();
  char byte = 0;
  file.read(&byte, 0);
  EXPECT_EQ(errorOf([&] { file.read(&byte, 1); }), "Failed to read file buffer, bytesRead = 0");
}

TEST_F(AutoFile, RefusesWhatItCannotLoad) {
  const std::string name = test::modulePath(dir_.file("file"));
  EXPECT_EQ(errorOf([&] { load(); }), "Could not open file:" + name);
  put("0123");
  const struct {
    std::int64_t size;
    std::int32_t statusAnswer;
    std::string error;
  } rows[] = {{4, -1, "Could not open file:" + name},
              {4, 1, "Could not open file:" + name},
              {0x100000000, 0, "Read buffer size too large to initialize, size = 4294967296"},
              {-1, 0, "Read buffer size too large to initialize, size = -1"},
              {4, 0, "(nothing)"}};
  for (const auto& row : rows) {
    files_.size = row.size;
    files_.statusAnswer = row.statusAnswer;
    EXPECT_EQ(errorOf([&] { load(); }), row.error);
    EXPECT_EQ(files_.openHandles, 0);
  }
}

TEST_F(AutoFile, WhatIsNotDeliveredReadsAsZeros) {
  put("0123");
  files_.longestRead = 2;
  AutoFileLoad file = load();
  EXPECT_EQ(readText(file, 4), std::string("01\0\0", 4));
}

TEST_F(AutoFile, RefusesSizesBeyond32Bits) {
  put("x");
  char byte = 0;
  EXPECT_EQ(errorOf([&] { load().read(&byte, 0x100000000); }), "Read from buffer size too large, size = 4294967296");
  EXPECT_EQ(errorOf([&] { save(1).write(&byte, UINT64_MAX); }),
            "Write buffer size too large, size = 18446744073709551615");
}

TEST_F(AutoFile, GrowsByDoublingAndKeepsWhatItHas) {
  AutoFileSave file = save(16);
  file.write("0123456789", 10);
  file.write(std::string(100, 'x').data(), 100);
  file.commit();
  EXPECT_EQ(get(), "0123456789" + std::string(100, 'x'));
  EXPECT_EQ(files_.opened, (std::vector<Files::Opened>{{0x8301, 0x180, 0}}));
}

TEST_F(AutoFile, SaysThatItCannotGrow) {
  const char byte = 0;
  EXPECT_EQ(errorOf([&] { save(0).write(&byte, 1); }), "Failed to grow write buffer from oldSize 0 to newSize 0");
  EXPECT_EQ(errorOf([&] { save(0x80000000).write(&byte, 0x80000001); }),
            "Failed to grow write buffer from oldSize 2147483648 to newSize 0");
  EXPECT_EQ(errorOf([&] { save(0).write(&byte, 0); }), "(nothing)");
}

TEST_F(AutoFile, AFailedWriteKeepsWhatWasWritten) {
  AutoFileSave file = save(0x40);
  file.write("0123", 4);
  EXPECT_EQ(errorOf([&] { file.write(nullptr, 0x100000000); }).substr(0, 27), "Write buffer size too large");
  file.commit();
  EXPECT_EQ(get(), "0123");
}

TEST_F(AutoFile, GoesOnBehindABufferAndLeavesItAlone) {
  NQBuffer buffer(NQMemoryPtr::make(4U));
  std::ranges::copy(asBytes("0123"), buffer.data());
  buffer.setEnd(3);
  buffer.setStart(1);
  AutoFileSave file(path(), &files_, buffer);
  file.write("abcdef", 6);
  file.commit();
  EXPECT_EQ(get(), "012abcdef");
  EXPECT_EQ(test::hex(std::span(buffer.data(), buffer.capacity())), "30313233");
  EXPECT_EQ(errorOf([&] { AutoFileSave(path(), &files_, NQBuffer()).write("x", 1); }),
            "Failed to grow write buffer from oldSize 0 to newSize 0");
}

TEST_F(AutoFile, CommitCutsAnExistingFile) {
  put("a long old content");
  AutoFileSave file = save(4);
  file.write("new", 3);
  file.commit();
  EXPECT_EQ(get(), "new");
  save(4).commit();
  EXPECT_EQ(get(), "") << "nothing was written";
  EXPECT_TRUE(files_.made.empty());
}

TEST_F(AutoFile, CommitMakesOneDirectory) {
  AutoFileSave file(path("sub\\file"), &files_, 4);
  file.write("x", 1);
  file.commit();
  EXPECT_EQ(get("sub/file"), "x");
  EXPECT_EQ(files_.made, (std::vector<std::string>{test::modulePath(dir_.file("sub"))}));
}

TEST_F(AutoFile, APathWithoutBackslashesHasNoDirectory) {
  const NQString native(std::string_view(dir_.file("sub/file")));
  EXPECT_EQ(errorOf([&] { AutoFileSave(native, &files_, 4).commit(); }), "FileIO write failed, errorCode = -1");
  EXPECT_TRUE(files_.made.empty());
}

TEST_F(AutoFile, CommitReportsWhatTheHostAnswers) {
  AutoFileSave file = save(4);
  file.write("0123", 4);
  const struct {
    std::int32_t answer;
    const char* error;
  } rows[] = {
      {-28, "FileIO write failed, errorCode = -28"}, {INT32_MIN, "FileIO write failed, errorCode = -2147483648"},
      {0, "FileIO write failed, bytesWritten = 0"},  {3, "FileIO write failed, bytesWritten = 3"},
      {5, "FileIO write failed, bytesWritten = 5"},  {4, "(nothing)"}};
  for (const auto& row : rows) {
    files_.writeAnswer = row.answer;
    EXPECT_EQ(errorOf([&] { file.commit(); }), row.error);
    EXPECT_EQ(files_.openHandles, 0);
  }
}

TEST_F(AutoFile, NumbersAreBigEndianOfTheWidthAskedFor) {
  const struct {
    std::size_t byteCount;
    std::uint64_t value;
    const char* image;
    std::uint64_t readBack;
  } rows[] = {{3, 0x0102030405, "030405", 0x030405},
              {1, 0x1FF, "ff", 0xFF},
              {8, 0xF102030405060708, "f1020304 05060708", 0xF102030405060708},
              {9, 0xF102030405060708, "f1020304 05060708", 0xF102030405060708},
              {0, 7, "", 0}};
  for (const auto& row : rows) {
    AutoFileSave out = save(16);
    writeNumber(out, row.byteCount, row.value);
    out.commit();
    EXPECT_EQ(test::hex(asBytes(get())), row.image);
    AutoFileLoad in = load();
    EXPECT_EQ(readNumber(in, row.byteCount), row.readBack);
  }
}

TEST_F(AutoFile, ANumberCutShortIsAFailure) {
  put("ab");
  AutoFileLoad file = load();
  EXPECT_EQ(errorOf([&] { readNumber(file, 4); }), "Failed to read file buffer, bytesRead = 2");
}

}  // namespace
}  // namespace qvs::util
