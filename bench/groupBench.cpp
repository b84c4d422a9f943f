// Audio streams in groups, each group on a thread of its own, into durable files: how many fragments a second that is,
// and how much of the flushes they share. One iteration is ten fragments of each stream. Records below the working
// directory, since the file system is what is measured.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/FileContext.h"
#include "host/Log.h"
#include "host/Module.h"
#include "host/OpenContext.h"
#include "host/OutputDirectory.h"
#include "host/Recording.h"
#include "host/Settings.h"
#include "host/StreamContext.h"

namespace {

constexpr std::uint32_t kFragmentMs = 4000;
constexpr int kFragments = 10;
constexpr const char* kFolder = "k2r_group_bench";

std::vector<std::byte> bytesOf(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

/// One open recording with its metadata and configuration.
class Stream {
 public:
  explicit Stream(int number)
      : place_(std::string(kFolder) + "/stream" + std::to_string(number)),
        context_(settings_, log_, files_, place_.modulePath()),
        adaptor_(module().createAdaptor(context_)),
        recording_(*adaptor_, openContext_, place_.modulePath(), /*append=*/false) {
    using std::string_view_literals::operator""sv;
    record(18, bytesOf("\x02\0\x0aonMetaData\x08\0\0\0\0\0\0\x09"sv));
    record(8, bytesOf("\xAF\0\x12\x10"sv));
  }

  /// Sends 20 messages of 5 KB. The first one makes the fragment before due, which is written then.
  void recordFragment() {
    for (std::uint32_t end = timeMs_ + kFragmentMs; timeMs_ < end; timeMs_ += 200) record(8, frame_);
  }

 private:
  static const host::Module& module() {
    static const host::Module loaded(K2R_MODULE_PATH);
    return loaded;
  }

  void record(std::uint8_t type, const std::vector<std::byte>& data) {
    if (!recording_.record({.type = type, .timeMs = timeMs_, .data = data})) throw std::runtime_error("refused");
  }

  host::Settings settings_;
  host::Log log_{stderr};
  host::OutputDirectory place_;
  host::FileContext files_{host::Durability::kDevice, log_};
  host::StreamContext context_;
  host::OpenContext openContext_{settings_};
  std::unique_ptr<IMOStreamAdaptor> adaptor_;
  host::Recording recording_;
  std::vector<std::byte> frame_ = bytesOf("\xAF\x01" + std::string(5000, '\x55'));
  std::uint32_t timeMs_ = 0;
};

void recordGroup(std::deque<Stream>& streams, std::size_t first, std::size_t step) {
  for (int fragment = 0; fragment < kFragments; ++fragment) {
    for (std::size_t i = first; i < streams.size(); i += step) streams[i].recordFragment();
  }
}

void recordInGroups(benchmark::State& state) {
  const auto groups = static_cast<std::size_t>(state.range(1));
  std::filesystem::remove_all(kFolder);
  {
    std::deque<Stream> streams;
    for (int number = 0; number < state.range(0); ++number) streams.emplace_back(number).recordFragment();
    for (auto _ : state) {
      std::vector<std::jthread> threads;
      for (std::size_t group = 0; group < groups; ++group) {
        threads.emplace_back([&streams, group, groups] { recordGroup(streams, group, groups); });
      }
    }
  }
  std::filesystem::remove_all(kFolder);
  state.counters["fragments/s"] = benchmark::Counter(
      static_cast<double>(state.iterations() * state.range(0) * kFragments), benchmark::Counter::kIsRate);
}

BENCHMARK(recordInGroups)
    ->Args({1, 1})
    ->Args({10, 10})
    ->Args({100, 100})
    ->Args({32, 1})
    ->Args({32, 4})
    ->Args({32, 16})
    ->ArgNames({"streams", "threads"})
    ->Iterations(5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
