#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "tests/util/FakeHeap.h"
#include "tests/util/failures.h"
#include "util/AutoFile.h"
#include "util/bytes.h"

namespace qvs::util {
namespace {

/// Real files, with a trace of what is asked for; an answer may stand in the place of the real one.
class Files final : public test::DiskFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    const std::int32_t handle = DiskFileContext::open(path, flags, mode, share);
    if (handle != -1) ++openHandles;
    trace << std::hex << "open(" << flags << ',' << mode << ',' << share << ") ";
    return handle;
  }
  void close(std::int32_t handle, std::uint32_t reserved) override {
    --openHandles;
    trace << "close(" << reserved << ')';
    DiskFileContext::close(handle, reserved);
  }
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    trace << "read(" << offset << ',' << length << ") ";
    return DiskFileContext::read(handle, offset, buffer, std::min(length, longestRead));
  }
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    trace << "write(" << offset << ',' << length << ") ";
    return writeAnswer ? *writeAnswer : DiskFileContext::write(handle, offset, buffer, length);
  }
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override {
    if (!size) return DiskFileContext::fileStatus(handle, status, reserved);
    status->size = *size;
    return statusAnswer;
  }
  std::int32_t createDirectory(const char* path) override {
    made += path;
    return DiskFileContext::createDirectory(path);
  }

  std::ostringstream trace;
  std::string made;
  int openHandles = 0;
  std::uint32_t longestRead = UINT32_MAX;
  std::optional<std::int32_t> writeAnswer;
  std::optional<std::int64_t> size;
  std::int32_t statusAnswer = 0;
};

class AutoFile : public testing::Test {
 protected:
  NQString path(std::string_view name = "file") {
    return NQString(std::string_view(test::modulePath(dir_.file(name))));
  }
  void put(std::string_view content) { test::writeWholeFile(dir_.file("file"), std::string(content)); }
  std::string get(std::string_view name = "file") { return test::readWholeFile(dir_.file(name)); }
  AutoFileLoad load() { return {path(), &files_}; }
  AutoFileSave save(std::uint32_t initialSize) { return {path(), &files_, initialSize}; }
  static void commit(AutoFileSave&& file, std::string_view content) {
    file.write(content.data(), content.size());
    file.commit();
  }

  template <typename Operation>
  std::string failureOf(const Operation& operation) {
    const std::string failure = test::failureOf<FileReadException>(operation);
    EXPECT_EQ(files_.openHandles, 0) << failure;
    return failure;
  }

  Files files_;
  test::TempDirectory dir_;
};

std::string readText(AutoFileLoad& load, std::size_t size) {
  std::string text(size, '-');
  load.read(text.data(), size);
  return text;
}

TEST_F(AutoFile, SaysWhatFailed) {
  const std::string cannotOpen = "Could not open file:" + test::modulePath(dir_.file("file"));
  EXPECT_EQ(failureOf([&] { load(); }), cannotOpen);
  put("0123");
  const auto loadWhere = [&](std::int64_t size, std::int32_t statusAnswer) {
    files_.size = size;
    files_.statusAnswer = statusAnswer;
    return failureOf([&] { load(); });
  };
  EXPECT_EQ(loadWhere(4, -1), cannotOpen);
  EXPECT_EQ(loadWhere(4, 1), cannotOpen);
  EXPECT_EQ(loadWhere(-1, 0), "Read buffer size too large to initialize, size = -1");
  EXPECT_EQ(loadWhere(0x100000000, 0), "Read buffer size too large to initialize, size = 4294967296");
  EXPECT_EQ(loadWhere(4, 0), "(nothing)");
  char bytes[8];
  EXPECT_EQ(failureOf([&] { load().read(bytes, 0x100000000); }), "Read from buffer size too large, size = 4294967296");
  EXPECT_EQ(failureOf([&] { load().read(bytes, 0xFFFFFFFF); }), "Failed to read file buffer, bytesRead = 4");
  EXPECT_EQ(failureOf([&] { save(1).write(bytes, 0x100000000); }), "Write buffer size too large, size = 4294967296");
  const auto writeInto = [&](std::uint32_t initialSize, std::uint64_t size) {
    return failureOf([&] { save(initialSize).write(bytes, size); });
  };
  EXPECT_EQ(writeInto(0, 0xFFFFFFFF), "Failed to grow write buffer from oldSize 0 to newSize 0");
  EXPECT_EQ(writeInto(0x80000000, 0x80000001), "Failed to grow write buffer from oldSize 2147483648 to newSize 0");
  test::fakeHeap.failingBuffers = 1;
  EXPECT_EQ(writeInto(4, 5), "Failed to grow write buffer from oldSize 4 to newSize 8");
  EXPECT_EQ(writeInto(0, 0), "(nothing)");
  const auto commitWhere = [&](std::int32_t answer) {
    files_.writeAnswer = answer;
    return failureOf([&] { commit(save(4), "0123"); });
  };
  EXPECT_EQ(commitWhere(-28), "FileIO write failed, errorCode = -28");
  EXPECT_EQ(commitWhere(INT32_MIN), "FileIO write failed, errorCode = -2147483648");
  for (const int answer : {0, 3, 5}) {
    EXPECT_EQ(commitWhere(answer), "FileIO write failed, bytesWritten = " + std::to_string(answer));
  }
  EXPECT_EQ(commitWhere(4), "(nothing)");
}

TEST_F(AutoFile, HandsOutTheFileFrontToBack) {
  put("0123456789");
  AutoFileLoad file = load();
  EXPECT_EQ(files_.trace.str(), "open(8000,180,0) read(0,a) close(0)");
  EXPECT_EQ(readText(file, 4), "0123");
  EXPECT_EQ(readText(file, 0), "");
  std::string rest(8, '-');
  EXPECT_THROW(file.read(rest.data(), 8), FileReadException);
  EXPECT_EQ(rest, "456789--") << "what there was";
  EXPECT_EQ(failureOf([&] { readText(file, 1); }), "Failed to read file buffer, bytesRead = 0");
}

TEST_F(AutoFile, AnEmptyFileIsValid) {
  put("");
  AutoFileLoad file = load();
  EXPECT_EQ(files_.trace.str(), "open(8000,180,0) close(0)");
  EXPECT_EQ(readText(file, 0), "");
  EXPECT_EQ(failureOf([&] { readText(file, 1); }), "Failed to read file buffer, bytesRead = 0");
}

TEST_F(AutoFile, WhatIsNotDeliveredReadsAsZeros) {
  put("0123");
  files_.longestRead = 2;
  AutoFileLoad file = load();
  EXPECT_EQ(readText(file, 4), std::string("01\0\0", 4));
}

TEST_F(AutoFile, GrowsAndKeepsWhatItHas) {
  AutoFileSave file = save(16);
  file.write("0123456789", 10);
  EXPECT_THROW(file.write(nullptr, 0x100000000), FileReadException);
  commit(std::move(file), std::string(100, 'x'));
  EXPECT_EQ(get(), "0123456789" + std::string(100, 'x'));
  EXPECT_EQ(files_.trace.str(), "open(8301,180,0) write(0,6e) close(0)");
}

TEST_F(AutoFile, GoesOnBehindABufferAndLeavesItAlone) {
  NQBuffer buffer(NQMemoryPtr::make(4U));
  std::ranges::copy(asBytes("0123"), buffer.data());
  buffer.setEnd(3);
  buffer.setStart(1);
  commit({path(), &files_, buffer}, "abcdef");
  EXPECT_EQ(get(), "012abcdef");
  EXPECT_EQ(test::hex(std::span(buffer.data(), buffer.capacity())), "30313233");
  EXPECT_THROW(commit({path(), &files_, NQBuffer()}, "x"), FileReadException) << "without a block there is no growing";
}

TEST_F(AutoFile, CommitCutsAnExistingFile) {
  put("a long old content");
  commit(save(4), "new");
  EXPECT_EQ(get(), "new");
  commit(save(4), "");
  EXPECT_EQ(get(), "") << "nothing was written";
  EXPECT_EQ(files_.made, "");
}

TEST_F(AutoFile, CommitMakesTheDirectoryInFrontOfTheLastBackslash) {
  commit({path("sub\\file"), &files_, 4}, "x");
  EXPECT_EQ(get("sub/file"), "x");
  EXPECT_EQ(files_.made, test::modulePath(dir_.file("sub")));
  const NQString slashes(std::string_view(dir_.file("other/file")));
  EXPECT_EQ(failureOf([&] { commit({slashes, &files_, 4}, ""); }), "FileIO write failed, errorCode = -1");
  EXPECT_EQ(files_.made, test::modulePath(dir_.file("sub"))) << "no other one";
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
    EXPECT_EQ(test::hex(get()), row.image);
    AutoFileLoad in = load();
    EXPECT_EQ(readNumber(in, row.byteCount), row.readBack);
  }
}

}  // namespace
}  // namespace qvs::util
