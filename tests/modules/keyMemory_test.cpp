// What is left of a content key in the memory of the process.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "tests/modules/ProtectedRecorder.h"

namespace {

using namespace test;

/// Every bit of a key turned, so that the test itself does not have the key in memory.
using TurnedKey = std::array<unsigned char, 16>;

/// Makes the file of a key, byte by byte.
TurnedKey makeKeyFile(const std::string& path) {
  TurnedKey turned;
  std::random_device random;
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  for (auto& byte : turned) {
    byte = static_cast<unsigned char>(random());
    const auto stored = static_cast<unsigned char>(~byte);
    EXPECT_EQ(::write(file, &stored, 1), 1);
  }
  ::close(file);
  return turned;
}

bool isKey(const unsigned char* bytes, const TurnedKey& turned) {
  for (std::size_t i = 0; i < turned.size(); ++i) {
    if (static_cast<unsigned char>(~bytes[i]) != turned[i]) return false;
  }
  return true;
}

/// How often the key stands in the writable memory of this process.
std::size_t countInMemory(const TurnedKey& turned) {
  static std::array<unsigned char, 1 << 20> window;
  const auto windowStart = reinterpret_cast<std::uintptr_t>(window.data());
  std::size_t found = 0;
  const int memory = ::open("/proc/self/mem", O_RDONLY);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::uintptr_t start = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    std::string access;
    fields >> std::hex >> start >> dash >> end >> access;
    // What is larger is no memory that anybody wrote to: a sanitizer keeps terabytes for notes on the rest.
    constexpr std::uintptr_t kLargest = std::uintptr_t{1} << 32;
    if (access.substr(0, 2) != "rw" || end - start > kLargest) continue;
    // Windows overlap by a key less a byte.
    for (std::uintptr_t at = start; at < end; at += window.size() - turned.size() + 1) {
      const auto wanted = std::min<std::uintptr_t>(window.size(), end - at);
      const auto got = ::pread(memory, window.data(), wanted, static_cast<off_t>(at));
      if (got < static_cast<ssize_t>(turned.size())) break;
      const auto* const last = window.data() + got - turned.size();
      const int first = static_cast<unsigned char>(~turned.front());
      const auto next = [&](const unsigned char* from) -> const unsigned char* {
        if (from > last) return nullptr;
        return static_cast<const unsigned char*>(std::memchr(from, first, static_cast<std::size_t>(last - from) + 1));
      };
      for (const auto* place = next(window.data()); place != nullptr; place = next(place + 1)) {
        const std::uintptr_t where = at + static_cast<std::uintptr_t>(place - window.data());
        const bool ours = where + turned.size() > windowStart && where < windowStart + window.size();
        if (!ours && isKey(place, turned)) ++found;
      }
    }
  }
  ::close(memory);
  window.fill(0);
  return found;
}

TEST(KeyMemory, IsWipedWithTheRecording) {
  ProtectedRecorder recorder;
  const TurnedKey turned = makeKeyFile(recorder.setting("CommonKeyPath"));
  EXPECT_EQ(countInMemory(turned), 0U);
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).until(8001)), 0U);
  EXPECT_GT(countInMemory(turned), 0U) << "in use";
  recorder.stop();
  EXPECT_EQ(countInMemory(turned), 0U);
  recorder.close();
  ASSERT_TRUE(recorder.open(kOpenRecord | kOpenAppend));
  EXPECT_GT(countInMemory(turned), 0U);
  recorder.close();
  EXPECT_EQ(countInMemory(turned), 0U) << "also without a stop";
}

TEST(KeyMemory, IsWipedWhereTheSetUpFails) {
  ProtectedRecorder recorder;
  const TurnedKey turned = makeKeyFile(recorder.setting("CommonKeyPath"));
  recorder.setting("PackagerCredentialPwd") = "wrong";
  ASSERT_TRUE(recorder.open());
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).until(4001)), 1U);
  EXPECT_EQ(countInMemory(turned), 0U);
}

}  // namespace
