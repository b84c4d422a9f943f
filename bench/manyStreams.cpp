// Many streams in one process, through the module's exported entry, on one thread:
//
//     many_streams COUNT KBIT/S [SECONDS]            video and audio of that bit rate together
//     many_streams COUNT KBIT/S SECONDS audio        audio alone
//
// Fragments of four seconds, their key frames spread over time. The streams take turns, ten milliseconds at a time, as
// fast as they go; the bytes of segments are thrown away, and the small files are below /dev/shm. Prints the processor
// time by that of the streams, and the memory beside what is queued.

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "bench/BenchRecording.h"

namespace {

using namespace bench;

constexpr std::uint32_t kStepMs = 10;
constexpr const char* kFolder = "/dev/shm/k2r_many_streams";

double cpuSeconds() {
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double residentMb() {
  std::size_t total = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return 1e-6 * static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

/// One stream, which begins `delayMs` after the first one.
class Stream {
 public:
  Stream(Server& server, int number, Recording::Tracks tracks, std::uint32_t delayMs)
      : recording_(server, std::string(kFolder) + "/" + std::to_string(number), tracks), startMs_(delayMs) {}

  /// Records what comes before that time. A fragment is written by the first message of the next one.
  void recordUntil(std::uint32_t nowMs, const std::vector<Message>& fragment) {
    for (; startMs_ + fragment[next_].timeMs < nowMs; ++next_, next_ %= fragment.size()) {
      const Message& message = fragment[next_];
      recording_.record(message, streamMs_);
      queued_ = next_ == 0 ? message.data.size() : queued_ + message.data.size();
      if (next_ + 1 < fragment.size()) continue;
      startMs_ += kFragmentMs;
      streamMs_ += kFragmentMs;
    }
  }
  std::size_t queuedBytes() const { return queued_; }

 private:
  Recording recording_;
  /// Of the present fragment, by the common clock and by its own.
  std::uint32_t startMs_;
  std::uint32_t streamMs_ = 0;
  std::size_t next_ = 0;
  std::size_t queued_ = 0;
};

double queuedMb(const std::deque<Stream>& streams) {
  double bytes = 0;
  for (const Stream& stream : streams) bytes += static_cast<double>(stream.queuedBytes());
  return 1e-6 * bytes;
}

void run(int count, std::size_t bitRate, std::uint32_t seconds, bool hasVideo) {
  constexpr std::size_t kAudioBitRate = 128000;
  const auto fragment = hasVideo ? makeFragment(bitRate - kAudioBitRate) : makeAudioFragment(bitRate);
  const auto tracks = hasVideo ? Recording::Tracks::kVideoAndAudio : Recording::Tracks::kAudio;
  Server server;
  const double memoryBefore = residentMb();
  const double begin = cpuSeconds();
  std::deque<Stream> streams;
  for (int i = 0; i < count; ++i) {
    streams.emplace_back(server, i, tracks, static_cast<std::uint32_t>(std::int64_t{kFragmentMs} * i / count));
  }
  const double opened = cpuSeconds();
  std::printf("set-up of a stream: %.0f us of a processor, %.1f KB\n", 1e6 * (opened - begin) / count,
              1e3 * (residentMb() - memoryBefore) / count);
  // Every stream has written two fragments before anything is measured: all buffers have the size that they keep.
  constexpr std::uint32_t kWarmUpMs = 3 * kFragmentMs;
  double warm = 0;
  for (std::uint32_t now = 0; now < kWarmUpMs + seconds * 1000; now += kStepMs) {
    if (now == kWarmUpMs) warm = cpuSeconds();
    for (Stream& stream : streams) stream.recordUntil(now, fragment);
  }
  const double used = cpuSeconds() - warm;
  const double memory = residentMb() - memoryBefore;
  const double queued = queuedMb(streams);
  const double messages = static_cast<double>(fragment.size()) * count * seconds * 1000 / kFragmentMs;
  std::printf("%d streams of %zu kbit/s: %.3f of a core, %.2f us a message\n", count, bitRate / 1000, used / seconds,
              1e6 * used / messages);
  std::printf("memory %.0f MB, queued %.0f MB: ratio %.2f, %.1f KB a stream beside the queue\n", memory, queued,
              memory / queued, 1e3 * (memory - queued) / count);
  std::printf("heap: %.0f MB in blocks, %.0f MB free\n", 1e-6 * static_cast<double>(::mallinfo2().uordblks),
              1e-6 * static_cast<double>(::mallinfo2().fordblks));
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 3 || argc > 5) {
    std::fprintf(stderr, "usage: %s COUNT KBIT/S [SECONDS [audio]]\n", argv[0]);
    return 2;
  }
  std::filesystem::create_directory(kFolder);
  run(std::atoi(argv[1]), std::strtoul(argv[2], nullptr, 10) * 1000,
      static_cast<std::uint32_t>(argc > 3 ? std::atoi(argv[3]) : 20), argc < 5 || std::string_view(argv[4]) != "audio");
  std::filesystem::remove(kFolder);
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "many_streams: %s\n", failure.what());
  return 1;
}
