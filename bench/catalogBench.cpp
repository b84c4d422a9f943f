// How long the catalog takes over many recordings. Makes copies of a recording, each with the names that it would have:
//
//     catalog_bench make RECORDING ROOT STREAMS COUNT    COUNT recordings, an hour apart, for each stream
//     catalog_bench scan ROOT                            the start-up scan, and then a list of each stream
//     catalog_bench list ROOT STREAM                     a list of 30 days before any scan, and again
//
// Of each segment only both ends are copied, and the rest is a hole: the catalog reads nothing there.

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/StreamRecordings.h"
#include "host/serve/recordingName.h"

namespace {

namespace fs = std::filesystem;
using namespace host::serve;

constexpr std::int64_t kHourMs = 3'600'000;
constexpr std::int64_t kFirstMs = 1'600'000'000'000;

void copyEnds(const fs::path& from, const fs::path& to) {
  constexpr std::uintmax_t kEnd = 32U << 10;
  const std::uintmax_t size = fs::file_size(from);
  if (size <= 2 * kEnd) {
    fs::copy_file(from, to);
    return;
  }
  std::ifstream in(from, std::ios::binary);
  std::ofstream out(to, std::ios::binary);
  std::vector<char> bytes(kEnd);
  for (const std::uintmax_t place : {std::uintmax_t{0}, size - kEnd}) {
    in.seekg(static_cast<std::streamoff>(place)).read(bytes.data(), kEnd);
    out.seekp(static_cast<std::streamoff>(place)).write(bytes.data(), kEnd);
  }
  if (!in || !out.flush()) throw std::runtime_error("cannot copy to " + to.string());
}

void make(const fs::path& recording, const fs::path& root, int streams, int count) {
  const std::string stem = recording.filename().string();
  for (int stream = 0; stream < streams; ++stream) {
    for (int i = 0; i < count; ++i) {
      const std::string name = recordingNameText({.beginMs = kFirstMs + i * kHourMs});
      const fs::path directory = root / fmt::format("cam{}", stream) / name;
      fs::create_directories(directory);
      for (const auto& file : fs::directory_iterator(recording)) {
        copyEnds(file.path(), directory / (name + file.path().filename().string().substr(stem.size())));
      }
    }
  }
}

/// Prints how long `work` takes, and what it returns.
void timed(const std::string& what, const std::function<std::uint64_t()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const std::uint64_t count = work();
  const std::chrono::duration<double, std::milli> ms = std::chrono::steady_clock::now() - start;
  fmt::print("{:<40} {:>10.1f} ms {:>8}\n", what, ms.count(), count);
}

std::uint64_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::uint64_t all = 0;
  std::uint64_t resident = 0;
  file >> all >> resident;
  return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void scan(const std::string& root) {
  const std::uint64_t before = residentBytes();
  Catalog catalog;
  catalog.addRoot(root);
  std::uint64_t recordings = 0;
  const auto recordingsNow = [&] {
    recordings = 0;
    for (const std::string& stream : catalog.streams()) recordings += catalog.totals(stream).recordings;
    return recordings;
  };
  timed("scan, all names and files", [&] {
    while (!catalog.isReady()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return recordingsNow();
  });
  fmt::print("{:<40} {:>10} bytes each\n", "resident memory",
             (residentBytes() - before) / std::max<std::uint64_t>(recordings, 1));
  timed("list of every recording", [&] {
    std::uint64_t listed = 0;
    for (const std::string& stream : catalog.streams()) listed += catalog.list(stream, 0, INT64_MAX).size();
    return listed;
  });
}

void list(const std::string& root, const std::string& stream) {
  StreamRecordings recordings(stream, root + "/" + stream);
  recordings.readNames();
  const std::vector<RecordingName> names = recordings.unread();
  if (names.empty()) throw std::runtime_error("no recordings of " + stream);
  const std::int64_t endMs = names.back().beginMs + kHourMs;
  const auto month = [&] {
    return static_cast<std::uint64_t>(recordings.list(endMs - 720 * kHourMs, endMs, 0).size());
  };
  timed("list of 30 days, not yet scanned", month);
  timed("list of 30 days, again", month);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 5 && words[0] == "make") {
    make(words[1], words[2], std::atoi(words[3].c_str()), std::atoi(words[4].c_str()));
  } else if (words.size() == 2 && words[0] == "scan") {
    scan(words[1]);
  } else if (words.size() == 3 && words[0] == "list") {
    list(words[1], words[2]);
  } else {
    fmt::print(stderr, "usage: catalog_bench make RECORDING ROOT STREAMS COUNT | scan ROOT | list ROOT STREAM\n");
    return 2;
  }
}
