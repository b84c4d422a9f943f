#include <dlfcn.h>

#include <regex>

#include "tests/support/Recorder.h"
#include "tests/support/testing.h"

namespace {

/// An entry of the module that counts its blocks.
template <typename Function>
Function* find(const char* name) {
  void* const library = ::dlopen(K2R_COUNTED_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(::dlerror());
  return reinterpret_cast<Function*>(::dlsym(library, name));
}

TEST(OwnMemory, AllBlocksComeFromTheHeapAndGoBackToItAndNothrowMeansNull) {
  const auto create = find<bool(IMOStreamContext*, IMOStreamAdaptor**)>("IMOCreateAdaptor");
  const auto taken = find<std::int64_t()>("countingHeapTaken");
  const auto live = find<std::int64_t()>("countingHeapLive");
  const auto builder = test::stream().keyFramesEvery(1000).audio(23);
  using Messages = std::vector<test::StreamMessage>;
  const Messages malformed = {{77, 3000, std::vector<std::byte>(10)},
                              {18, 3000, std::vector<std::byte>(10, std::byte{0xFF})}};
  const std::tuple<const char*, const char*, Messages, std::size_t> rows[] = {
      {"a recording and an append", "1000", builder.until(3000), 1},
      {"malformed messages", "1000", builder.until(3000) + malformed, 3},
      {"an invalid setting", "no number", {}, 1}};
  std::int64_t ofTheProcess = 0;
  for (const auto& [what, duration, messages, lines] : rows) {
    const std::int64_t before = taken();
    {
      test::Recorder recorder(create);
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
  EXPECT_EQ(find<int()>("countingHeapNullsWhileShort")(), 4) << "operators that do not throw return null";
}

/// The module's names that the dynamic linker sees: those it takes from others, or those it gives.
std::string namesOfModule(const char* which) {
  const test::TempDirectory directory;
  const std::string names = directory.file("names");
  EXPECT_EQ(std::system((std::string("nm -D --") + which + " " + K2R_MODULE_PATH + " > " + names).c_str()), 0);
  return test::readWholeFile(names);
}

// So no library of the host's gets the module's operators, and the module frees no block of theirs.
TEST(ModuleNames, NeitherTakeNorGiveAnythingOfTheCppLibrary) {
  const std::string taken = namesOfModule("undefined-only");
  EXPECT_NE(taken.find(" U malloc"), std::string::npos) << "the names were read";
  EXPECT_FALSE(std::regex_search(taken, std::regex("GLIBCXX|CXXABI|U _Z"))) << taken;
  const std::string given = namesOfModule("defined-only");
  EXPECT_NE(given.find(" T IMOCreateAdaptor"), std::string::npos);
  EXPECT_FALSE(std::regex_search(given, std::regex(" _Z(n[wa]|d[la]|[A-Z]*St|[A-Z]*N?K?St)|Mem[A-Z]|malloc"))) << given;
}

}  // namespace
