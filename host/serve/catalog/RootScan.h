#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace host::serve {

class Catalog;
class StreamRecordings;

/// Reads the recordings of all streams below one root, on its own thread: first all names, then the files, the
/// newest recording of all streams first. `catalog` outlives it.
class RootScan {
 public:
  /// Starts the thread, which waits for request(). `root` is a native path; `startedMs` is when the process started, in
  /// ms since 1970-01-01 UTC. Throws std::system_error if the system has no thread.
  RootScan(Catalog& catalog, std::string root, std::int64_t startedMs);
  /// Waits for what it is reading at the moment.
  ~RootScan() = default;

  /// Scans once more, in the background. What was read already is not read again.
  void request();
  /// Whether everything that was requested is done.
  bool isDone() const;

 private:
  void run(const std::stop_token& stop);
  void scan(const std::stop_token& stop);
  /// The folders of the streams in the root, with the names of their recordings read.
  std::vector<std::shared_ptr<StreamRecordings>> readNames(const std::stop_token& stop);
  void reportInterrupted(const std::vector<std::shared_ptr<StreamRecordings>>& folders, const std::stop_token& stop);

  Catalog& catalog_;
  const std::string root_;
  /// A recording that begins later is this process's own, whether it has reported it or not.
  const std::int64_t startedMs_;

  /// Guards the two counts.
  mutable std::mutex mutex_;
  std::condition_variable_any wake_;
  std::uint64_t requested_ = 0;
  std::uint64_t done_ = 0;
  /// Last, so that it ends first.
  std::jthread thread_;
};

}  // namespace host::serve
