#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/DurationHistogram.h"
#include "host/serve/catalog/Catalog.h"
#include "host/serve/hooks/HookRunner.h"
#include "host/serve/streams/Supervisor.h"

namespace host::serve {

/// A file system that recordings are on.
struct DiskSpace {
  /// The configured folder.
  std::string root;
  /// Nothing if it is unknown.
  std::optional<std::uint64_t> freeBytes;
};

/// Recordings removed since the start of the process, by the limit that removed them.
struct RemovedCount {
  std::string reason;
  std::uint64_t recordings = 0;
};

/// What the answers are made from. The program connects each function to the part that knows; worker threads call them,
/// several at once. All are set but those that are said to be optional.
struct ApiSources {
  /// As in Supervisor.
  std::function<std::vector<Supervisor::View>()> views;
  std::function<std::optional<Supervisor::View>(const std::string& stream)> find;
  std::function<bool(const std::string& stream)> start;
  std::function<bool(const std::string& stream)> stop;
  std::function<bool(const std::string& stream)> rotate;
  /// A source without its secrets.
  std::function<std::string(const std::string& source)> maskedSource;

  /// As in Catalog.
  std::function<bool()> isReady;
  std::function<std::optional<std::string>(const std::string& stream)> folderOf;
  std::function<std::vector<RecordingInfo>(const std::string& stream, std::int64_t fromMs, std::int64_t toMs)> list;
  std::function<Catalog::Totals(const std::string& stream)> totals;

  /// Optional: without them the metrics lack these.
  std::function<std::vector<DiskSpace>()> disks = {};
  /// All reasons there are, also those that removed nothing.
  std::function<std::vector<RemovedCount>()> removed = {};
  /// By the names of the streams that have a hook.
  std::function<std::map<std::string, HookStatus>()> hooks = {};
  /// How long fragments took to be on disk.
  const DurationHistogram* fragmentWrites = nullptr;
};

/// The functions that streams and catalog have, which outlive the result; the others are still empty.
ApiSources sourcesOf(Supervisor& supervisor, const Catalog& catalog);

}  // namespace host::serve
