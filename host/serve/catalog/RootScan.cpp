#include "host/serve/catalog/RootScan.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/StreamRecordings.h"
#include "host/serve/catalog/removal.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

using Folders = std::vector<std::shared_ptr<StreamRecordings>>;

/// Gives the threads that record and those that serve requests precedence on a busy processor.
void yieldToOthers() {
  constexpr int kNice = 10;
  // On Linux a thread has its own nice value, by its id. A refusal changes nothing.
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNice);
}

}  // namespace

RootScan::RootScan(Catalog& catalog, std::string root, std::int64_t startedMs)
    : catalog_(catalog),
      root_(std::move(root)),
      startedMs_(startedMs),
      thread_([this](const std::stop_token& stop) { run(stop); }) {}

void RootScan::request() {
  const std::scoped_lock lock(mutex_);
  ++requested_;
  wake_.notify_one();
}

bool RootScan::isDone() const {
  const std::scoped_lock lock(mutex_);
  return done_ == requested_;
}

void RootScan::run(const std::stop_token& stop) {
  yieldToOthers();
  for (;;) {
    std::uint64_t request = 0;
    {
      std::unique_lock lock(mutex_);
      if (!wake_.wait(lock, stop, [this] { return done_ != requested_; })) return;
      request = requested_;
    }
    try {
      scan(stop);
    } catch (const std::exception&) {
      // Memory is short. Lists read what is missing.
    }
    const std::scoped_lock lock(mutex_);
    done_ = request;
  }
}

void RootScan::scan(const std::stop_token& stop) {
  const Folders folders = readNames(stop);
  std::vector<std::pair<RecordingName, StreamRecordings*>> unread;
  for (const auto& folder : folders) {
    for (const RecordingName& name : folder->unread()) unread.emplace_back(name, folder.get());
  }
  std::ranges::sort(unread, std::ranges::greater());
  for (const auto& [name, folder] : unread) {
    if (stop.stop_requested()) return;
    folder->read(name);
  }
  reportInterrupted(folders, stop);
}

Folders RootScan::readNames(const std::stop_token& stop) {
  for (const auto& entry : platform::os::listDirectory(root_).entries) {
    const bool isFolder = entry.type == platform::os::DirectoryEntry::Type::kOther;
    const std::string path = root_ + "/" + entry.name;
    std::error_code error;
    // A link may lead to an archive, or back to the root. Recordings that it leads to are only shown, and removed, if
    // the configuration names the stream.
    if (!isFolder || !isStreamName(entry.name) || std::filesystem::is_symlink(path, error)) continue;
    catalog_.found(entry.name, path);
  }
  Folders folders = catalog_.foldersIn(root_);
  for (const auto& folder : folders) {
    if (stop.stop_requested()) break;
    finishRemovals(folder->folder());
    folder->readNames();
  }
  return folders;
}

void RootScan::reportInterrupted(const Folders& folders, const std::stop_token& stop) {
  if (!catalog_.onInterrupted_) return;
  for (const auto& folder : folders) {
    for (const RecordingName& name : folder->interrupted()) {
      if (stop.stop_requested()) return;
      if (name.beginMs >= startedMs_) continue;
      try {
        catalog_.onInterrupted_({.root = root_, .stream = folder->stream(), .name = recordingNameText(name)});
      } catch (const std::exception&) {
        // It stays interrupted, as lists say. The others must not wait for the next start because of it.
      }
      folder->read(name);
    }
  }
}

}  // namespace host::serve
