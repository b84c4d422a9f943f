#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/os/RecursiveMutex.h"
#include "platform/os/durableFiles.h"
#include "platform/os/paths.h"
#include "platform/os/sleep.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "util/bytes.h"

namespace {

/// What the calls below are made to do.
struct Kernel {
  int fsyncErrors[2] = {};  // errno of each next fsync; 0 lets it pass
  std::size_t fsyncs = 0;
  std::size_t longestWrite = SIZE_MAX;
  bool interruptNextWrite = false;
};
Kernel* kernel = nullptr;

}  // namespace

// The calls of the tested code land here and can be broken. What must be flushed when is known by the losses of power.
extern "C" {

int fsync(int fd) {
  if (kernel != nullptr) {
    errno = kernel->fsyncs < 2 ? kernel->fsyncErrors[kernel->fsyncs] : 0;
    ++kernel->fsyncs;
    if (errno != 0) return -1;
  }
  return static_cast<int>(::syscall(SYS_fsync, fd));
}

ssize_t write(int fd, const void* bytes, size_t count) {
  if (kernel != nullptr) {
    if (std::exchange(kernel->interruptNextWrite, false)) {
      errno = EINTR;
      return -1;
    }
    count = std::min(count, kernel->longestWrite);
    kernel->interruptNextWrite = kernel->longestWrite != SIZE_MAX;
  }
  return ::syscall(SYS_write, fd, bytes, count);
}

}  // extern "C"

namespace platform::os {
namespace {

using qvs::util::asBytes;

class OsFiles : public testing::Test {
 protected:
  OsFiles() { kernel = &kernel_; }
  ~OsFiles() override { kernel = nullptr; }

  static std::string text(const std::optional<std::vector<std::byte>>& content) {
    return content ? test::textOf(*content) : "(nothing)";
  }
  bool put(std::string_view name, std::string_view content) { return writeFile(dir_.file(name), asBytes(content)); }
  std::string get(std::string_view name) { return text(readFile(dir_.file(name), 1000)); }

  Kernel kernel_;
  test::TempDirectory dir_;
};

TEST(ToNative, TurnsEveryBackslashAndNothingElse) {
  const std::pair<std::string_view, std::string_view> rows[] = {{"\\var\\rec\\cam1", "/var/rec/cam1"},
                                                                {"/etc/key.pem", "/etc/key.pem"},
                                                                {"", ""},
                                                                {"\\", "/"},
                                                                {"C:\\a b/..\\\xC3\xA9.k2r", "C:/a b/../\xC3\xA9.k2r"}};
  for (const auto& [path, native] : rows) EXPECT_EQ(toNative(path), native);
}

TEST_F(OsFiles, WriteReplacesTheWholeOldContent) {
  ASSERT_TRUE(put("a", "a long old content"));
  ASSERT_TRUE(put("a", "new"));
  EXPECT_EQ(get("a"), "new");
  ASSERT_TRUE(put("a", ""));
  EXPECT_EQ(get("a"), "");
  EXPECT_EQ(kernel_.fsyncs, 0U) << "a plain write flushes nothing";
}

TEST_F(OsFiles, ShortAndInterruptedWritesLoseNothing) {
  kernel_.longestWrite = 3;
  ASSERT_TRUE(put("a", "0123456789"));
  EXPECT_EQ(get("a"), "0123456789");
}

TEST_F(OsFiles, WriteOrSyncToAFullOrMissingPlaceFails) {
  EXPECT_FALSE(writeFile("/dev/full", asBytes("x")));
  EXPECT_FALSE(put("no/such/directory", "x"));
  EXPECT_FALSE(syncFile(dir_.file("missing")));
  EXPECT_FALSE(writeFile(dir_.path().string(), asBytes("x")));
}

TEST_F(OsFiles, ReadStopsAtTheLimit) {
  ASSERT_TRUE(put("a", "12345"));
  EXPECT_EQ(text(readFile(dir_.file("a"), 5)), "12345");
  EXPECT_FALSE(readFile(dir_.file("a"), 4));
  EXPECT_FALSE(readFile("/dev/zero", 100000)) << "a file without an end";
  EXPECT_FALSE(readFile(dir_.file("missing"), 5));
  EXPECT_FALSE(readFile(dir_.path().string(), 5));
}

TEST_F(OsFiles, FailedSwapKeepsBothFiles) {
  ASSERT_TRUE(put("to", "old"));
  ASSERT_TRUE(put("from", "new"));
  kernel_.fsyncErrors[0] = EIO;
  EXPECT_FALSE(replaceFile(dir_.file("from"), dir_.file("to")));
  EXPECT_FALSE(replaceFile(dir_.file("from"), dir_.path().string())) << "cannot be renamed";
  EXPECT_FALSE(replaceFile(dir_.file("missing"), dir_.file("to")));
  EXPECT_FALSE(replaceFile(dir_.file("from"), dir_.file("missing/to")));
  EXPECT_EQ(get("to"), "old");
  EXPECT_EQ(get("from"), "new");
}

TEST_F(OsFiles, SwapReportsADirectoryThatDidNotReachTheDevice) {
  const std::pair<int, bool> errorsAndAnswers[] = {{EIO, false}, {EINVAL, true}, {EINTR, true}};
  for (const auto& [error, swapped] : errorsAndAnswers) {
    ASSERT_TRUE(put("from", "new"));
    kernel_.fsyncs = 0;
    kernel_.fsyncErrors[1] = error;
    EXPECT_EQ(replaceFile(dir_.file("from"), dir_.file("to")), swapped) << error;
  }
}

/// What another thread is answered.
template <typename Operation>
bool elsewhere(Operation operation) {
  bool answer = false;
  std::thread([&] { answer = operation(); }).join();
  return answer;
}

TEST(RecursiveMutex, IsFreeAfterAsManyUnlocksOfItsHolderAsLocks) {
  RecursiveMutex mutex;
  mutex.lock();
  mutex.lock();
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(elsewhere([&] { return mutex.tryLock() || mutex.isHeldByCaller() || mutex.unlock(); }));
  EXPECT_TRUE(mutex.isHeldByCaller());
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(mutex.unlock() || mutex.isHeldByCaller());
  EXPECT_TRUE(elsewhere([&] { return mutex.tryLock() && mutex.unlock(); }));
}

TEST(RecursiveMutex, KeepsThreadsApartWithAndWithoutSpinning) {
  for (const std::uint32_t spinCount : {0U, 1000U}) {
    RecursiveMutex mutex(spinCount);
    int guarded = 0;
    const auto work = [&] {
      for (int round = 0; round < 5000; ++round) {
        const std::lock_guard outer(mutex), inner(mutex);
        ++guarded;
      }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(guarded, 20000);
  }
}

TEST(Sleep, LastsAtLeastAsLongAsAsked) {
  const auto start = std::chrono::steady_clock::now();
  sleepMs(3);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3));
}

}  // namespace
}  // namespace platform::os
