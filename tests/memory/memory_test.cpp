#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/memory/countedOperators.h"
#include "tests/module/loadModule.h"
#include "tests/support/StreamBuilder.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace {

using test::Counting;
using test::operatorCount;
using test::OperatorCount;

/// Files whose own allocations do not count: they are the host's, on its side of the call.
class Files final : public test::DiskFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override {
    const Counting pause(false);
    return DiskFileContext::open(path, flags, mode, share);
  }
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) override {
    const Counting pause(false);
    return DiskFileContext::pathStatus(path, status, reserved);
  }
  std::int32_t remove(const char* path, std::uint32_t kind, std::uint32_t recursive) override {
    const Counting pause(false);
    return DiskFileContext::remove(path, kind, recursive);
  }
  std::int32_t createDirectory(const char* path) override {
    const Counting pause(false);
    return DiskFileContext::createDirectory(path);
  }
};

/// A host of which the same holds.
class Host final : public IMOStreamContext, public IMOStreamOpenContext {
 public:
  Host() : host_(&files_) {}

  void reserved() override {}
  std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) override {
    const Counting pause(false);
    return host_.readConfiguration(key, value, length);
  }
  void log(const char* text, std::uint32_t level, bool flag) override {
    const Counting pause(false);
    host_.log(text, level, flag);
  }
  IMOFileContext* fileContext() override { return &files_; }
  std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) override {
    const Counting pause(false);
    if (throws) throw std::runtime_error(std::string(100, 'x'));
    return host_.property(section, key, buffer, size);
  }

  test::TestHost& told() { return host_; }

  /// Whether asking for a property fails badly.
  bool throws = false;

 private:
  Files files_;
  test::TestHost host_;
};

class OwnMemory : public testing::Test {
 protected:
  OwnMemory() { operatorCount = {}; }

  std::string path() const { return test::modulePath(dir_.file("cam1")); }

  /// Makes an adaptor, records the messages and deletes the adaptor, counting in all calls of the module. Answers how
  /// many messages were refused; nothing where the stream did not open.
  std::optional<int> recordAll(const std::vector<test::StreamMessage>& messages, std::uint32_t flags = kOpenRecord,
                               IMOCreateAdaptorFunction create = test::loadModule()) {
    const std::string where = path();
    const Counting counting(true);
    IMOStreamAdaptor* adaptor = nullptr;
    if (!create(&host_, &adaptor)) return std::nullopt;
    const std::unique_ptr<IMOStreamAdaptor> owner(adaptor);
    void* handle = nullptr;
    if (adaptor->open(&host_, where.c_str(), flags, nullptr, handle) != kStreamOpened) return std::nullopt;
    int refused = 0;
    for (const auto& [type, time, data] : messages) {
      const auto size = static_cast<std::uint32_t>(data.size());
      if (!adaptor->record(handle, type, data.data(), size, time)) ++refused;
    }
    adaptor->stopRecord(handle);
    adaptor->close(handle);
    return refused;
  }

  test::TempDirectory dir_;
  Host host_;
};

TEST_F(OwnMemory, ARecordingTakesNothingOfItsHosts) {
  host_.told().settings = {{"Recording/FragmentDuration", "1000"},
                           {"k2r/MaxEraseRetries", std::string(200, ' ') + "2"}};
  EXPECT_EQ(recordAll(test::stream().keyFramesEvery(1000).audio(23).until(10000)), 0);
  EXPECT_EQ(
      recordAll(test::stream().keyFramesEvery(1000).audio(23).from(10000).until(20000), kOpenRecord | kOpenAppend), 0);
  EXPECT_EQ(operatorCount, OperatorCount{});
  for (const auto& line : host_.told().lines) EXPECT_EQ(line.find("error"), std::string::npos) << line;
}

TEST_F(OwnMemory, NorDoesWhatFails) {
  auto messages = test::stream().keyFramesEvery(1000).until(3000);
  messages.push_back({77, 3000, std::vector<std::byte>(10)});
  messages.push_back({18, 3000, std::vector<std::byte>(10, std::byte{0xFF})});
  EXPECT_GE(recordAll(messages).value_or(0), 1);
  host_.told().settings["Recording/FragmentDuration"] = "no number";
  EXPECT_EQ(recordAll({}), std::nullopt);
  EXPECT_GE(host_.told().lines.size(), 2U);
  EXPECT_EQ(operatorCount, OperatorCount{});
}

TEST_F(OwnMemory, AnExceptionOfTheHostsIsFreedByTheHost) {
  host_.throws = true;
  EXPECT_EQ(recordAll({}), std::nullopt);
  EXPECT_EQ(operatorCount, (OperatorCount{0, 1, 0})) << "the text of the exception";
  EXPECT_EQ(host_.told().lines.size(), 1U);
}

TEST_F(OwnMemory, AllBlocksComeFromTheHeapAndGoBackToIt) {
  void* const module = ::dlopen(K2R_COUNTED_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << ::dlerror();
  const auto create = reinterpret_cast<IMOCreateAdaptorFunction>(::dlsym(module, "IMOCreateAdaptor"));
  const auto taken = reinterpret_cast<std::int64_t (*)()>(::dlsym(module, "countingHeapTaken"));
  const auto live = reinterpret_cast<std::int64_t (*)()>(::dlsym(module, "countingHeapLive"));
  const auto first = test::stream().keyFramesEvery(1000).audio(23).until(5000);
  ASSERT_EQ(recordAll(first, kOpenRecord, create), 0);
  // What stays belongs to the whole process.
  const std::int64_t liveAfterTheFirst = live();
  const std::int64_t takenByTheFirst = taken();
  const auto second = test::stream().keyFramesEvery(1000).audio(23).from(5000).until(10000);
  EXPECT_EQ(recordAll(second, kOpenRecord | kOpenAppend, create), 0);
  EXPECT_GT(taken() - takenByTheFirst, static_cast<std::int64_t>(second.size()));
  EXPECT_EQ(live(), liveAfterTheFirst);
  EXPECT_EQ(operatorCount, OperatorCount{});
}

TEST_F(OwnMemory, OtherLibrariesKeepTheHostsOperators) {
  ASSERT_NE(test::loadModule(), nullptr);
  // Now the module comes before whatever is loaded later.
  ASSERT_NE(::dlopen(K2R_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL), nullptr) << ::dlerror();
  void* const neighbour = ::dlopen(K2R_NEIGHBOUR_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(neighbour, nullptr) << ::dlerror();
  const auto take = reinterpret_cast<void* (*)(std::size_t)>(::dlsym(neighbour, "neighbourTakes"));
  const auto giveBack = reinterpret_cast<void (*)(void*)>(::dlsym(neighbour, "neighbourGivesBack"));
  const auto useTheLibrary = reinterpret_cast<std::size_t (*)()>(::dlsym(neighbour, "neighbourUsesTheLibrary"));
  {
    const Counting counting(true);
    giveBack(take(10));
    EXPECT_EQ(operatorCount, (OperatorCount{1, 1, 0}));
    useTheLibrary();
  }
  EXPECT_GE(operatorCount.allocations, 2U);
  EXPECT_EQ(operatorCount.allocations, operatorCount.releases);
  EXPECT_EQ(operatorCount.foreignReleases, 0U);
}

/// The module's names that the dynamic linker sees: those it takes from others, or those it gives.
std::string namesOfModule(const char* which) {
  const std::string command = std::string("nm -D --") + which + " " + K2R_MODULE_PATH;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  std::string names;
  std::array<char, 4096> line{};
  while (std::fgets(line.data(), static_cast<int>(line.size()), pipe.get()) != nullptr) names += line.data();
  return names;
}

TEST(ModuleNames, NeitherTakeNorGiveAnythingOfTheCppLibrary) {
  const std::string taken = namesOfModule("undefined-only");
  EXPECT_NE(taken.find(" U malloc"), std::string::npos) << "the names were read";
  EXPECT_FALSE(std::regex_search(taken, std::regex("GLIBCXX|CXXABI|U _Z"))) << taken;
  const std::string given = namesOfModule("defined-only");
  EXPECT_NE(given.find(" T IMOCreateAdaptor"), std::string::npos);
  EXPECT_FALSE(std::regex_search(given, std::regex(" _Z(n[wa]|d[la]|[A-Z]*St|[A-Z]*N?K?St)|Mem[A-Z]|malloc"))) << given;
}

}  // namespace
