#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <regex>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"

namespace {

/// What reached this program's `operator new` and `operator delete`. They mark their blocks, so that a block of anybody
/// else is told, and one of theirs that anybody else frees ends the program.
struct OperatorCount {
  std::uint64_t allocations = 0;
  std::uint64_t releases = 0;
  std::uint64_t foreignReleases = 0;
} operatorCount;

constexpr std::uint64_t kMark = 0x6B32722D686F7374;
/// In front of a block; keeps the alignment.
struct alignas(std::max_align_t) Header {
  std::uint64_t mark;
};

void* take(std::size_t size) {
  auto* const header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr) throw std::bad_alloc();
  ++operatorCount.allocations;
  header->mark = kMark;
  return header + 1;
}

void giveBack(void* block) noexcept {
  if (block == nullptr) return;
  Header* const header = static_cast<Header*>(block) - 1;
  ++operatorCount.releases;
  if (header->mark != kMark) {
    ++operatorCount.foreignReleases;  // Not ours to free.
    return;
  }
  header->mark = 0;
  std::free(header);
}

}  // namespace

// Seen by every library of the process that asks the dynamic linker. The forms for arrays come down to these.
#define VISIBLE __attribute__((visibility("default")))

VISIBLE void* operator new(std::size_t size) {
  return take(size);
}
VISIBLE void operator delete(void* block) noexcept {
  giveBack(block);
}
VISIBLE void operator delete(void* block, std::size_t) noexcept {
  giveBack(block);
}

namespace {

class OwnMemory : public testing::Test {
 protected:
  ~OwnMemory() override { EXPECT_EQ(operatorCount.foreignReleases, 0U) << "the host frees its own blocks alone"; }

  static void* load(const char* path) {
    void* const library = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(::dlerror());
    return library;
  }
  template <typename Function>
  static Function* find(void* library, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(library, name));
  }
};

TEST_F(OwnMemory, AllBlocksComeFromTheHeapAndGoBackToIt) {
  void* const module = load(K2R_COUNTED_MODULE_PATH);
  const auto create = find<bool(IMOStreamContext*, IMOStreamAdaptor**)>(module, "IMOCreateAdaptor");
  const auto taken = find<std::int64_t()>(module, "countingHeapTaken");
  const auto live = find<std::int64_t()>(module, "countingHeapLive");
  struct ThrowingFiles : test::DiskFileContext {
    std::int32_t createDirectory(const char*) override { throw std::runtime_error(std::string(100, 'x')); }
  } throwing;
  const auto builder = test::stream().keyFramesEvery(1000).audio(23);
  using Messages = std::vector<test::StreamMessage>;
  const Messages malformed = {{77, 3000, std::vector<std::byte>(10)},
                              {18, 3000, std::vector<std::byte>(10, std::byte{0xFF})}};
  const std::tuple<const char*, const char*, IMOFileContext*, Messages, std::size_t> rows[] = {
      {"a recording and an append", "1000", nullptr, builder.until(3000), 1},
      {"malformed messages", "1000", nullptr, builder.until(3000) + malformed, 3},
      {"an invalid setting", "no number", nullptr, {}, 1},
      {"an exception of the host's", "1000", &throwing, {}, 1}};
  std::int64_t ofTheProcess = 0;
  for (const auto& [what, duration, files, messages, lines] : rows) {
    const std::int64_t before = taken();
    {
      test::Recorder recorder(create, files);
      recorder.host.settings = {{"Recording/FragmentDuration", duration},
                                {"k2r/MaxEraseRetries", std::string(200, ' ') + "2"}};
      if (recorder.open()) {
        recorder.record(messages);
        recorder.stop();
        recorder.close();
        EXPECT_TRUE(recorder.open(kOpenRecord | kOpenAppend)) << what;
        EXPECT_EQ(recorder.record(test::StreamBuilder(builder).from(5000).until(10000)), 0U) << what;
      }
      EXPECT_EQ(recorder.host.lines.size(), lines) << what << ", the append's gap and each refusal: " << recorder.log();
    }
    EXPECT_GT(taken() - before, static_cast<std::int64_t>(messages.size())) << what;
    // What the first one leaves belongs to the whole process.
    if (ofTheProcess == 0) ofTheProcess = live();
    EXPECT_EQ(live(), ofTheProcess) << what;
  }
}

TEST_F(OwnMemory, OperatorsThatDoNotThrowAnswerNull) {
  const auto nullsWhileShort = find<int()>(load(K2R_COUNTED_MODULE_PATH), "countingHeapNullsWhileShort");
  EXPECT_EQ(nullsWhileShort(), 4);
}

TEST_F(OwnMemory, OtherLibrariesKeepTheHostsOperators) {
  ASSERT_NE(test::loadModule(), nullptr);
  // Now the module comes before whatever is loaded later.
  ASSERT_NE(::dlopen(K2R_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL), nullptr) << ::dlerror();
  void* const neighbour = load(K2R_NEIGHBOUR_PATH);
  const auto take = find<void*(std::size_t)>(neighbour, "neighbourTakes");
  const auto giveBack = find<void(void*)>(neighbour, "neighbourGivesBack");
  const auto useTheLibrary = find<std::size_t()>(neighbour, "neighbourUsesTheLibrary");
  operatorCount = {};
  giveBack(take(10));
  EXPECT_EQ(operatorCount.allocations, 1U);
  useTheLibrary();
  EXPECT_GE(operatorCount.allocations, 2U);
  EXPECT_EQ(operatorCount.allocations, operatorCount.releases);
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
