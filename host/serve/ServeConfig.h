#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/Directory.h"

namespace host::serve {

using platform::os::Durability;

/// A recording is not begun with fewer free bytes than this: on a full disk a directory can often still be made.
inline constexpr std::uint64_t kLeastRoom = std::uint64_t{8} << 20;

/// How long finished recordings are kept. Nothing means without a limit.
struct KeepLimits {
  std::optional<std::chrono::milliseconds> age = {};
  std::optional<std::uint64_t> bytes = {};

  bool operator==(const KeepLimits&) const = default;
};

/// A `[[stream]]` of the configuration, with the defaults of `[storage]` and `[recording]` filled in. Two equal ones
/// record alike, so a reload leaves such a stream alone.
struct StreamConfig {
  /// [a-z0-9_-]{1,64}, unique in the process.
  std::string name;
  /// What is opened; may contain a password, so it is shown only through maskedSource().
  std::string source;
  /// Options for libavformat, each `KEY=VALUE`.
  std::vector<std::string> inputOptions = {};
  /// Settings of the module, each `KEY=VALUE` with whole keys, such as `Recording/FragmentDuration=4000`.
  std::vector<std::string> settings = {};
  /// Recorded from the start of the process.
  bool enabled = true;
  /// Folder above the stream's own one, a native absolute path.
  std::string root;
  /// A new recording begins at each multiple of this, counted from 1970-01-01 UTC; nothing: never.
  std::optional<std::chrono::milliseconds> rotate = {};
  /// Of its recordings; `age` is the one of `[storage]` if the stream has none.
  KeepLimits keep = {};
  Durability durability = Durability::kDevice;
  /// The words of the program to run for each finished recording; empty for none.
  std::vector<std::string> onRecording = {};
  /// An input that gives no data for so long is opened again.
  std::chrono::milliseconds stallTimeout = std::chrono::seconds(30);
  /// Times that jump forward by more than this belong to a new clock.
  std::chrono::milliseconds maxGap = std::chrono::hours(1);
  /// Limit in bytes of the messages that wait for a fragment.
  std::uint64_t maxQueue = std::uint64_t{256} << 20;

  bool operator==(const StreamConfig&) const = default;
};

/// The whole configuration, checked.
struct ServeConfig {
  /// Numeric address and port to listen on; nothing: no HTTP.
  std::string listenAddress = "127.0.0.1";
  std::uint16_t listenPort = 8480;
  /// Path of a file with the token; empty: none is asked for.
  std::string tokenFile = {};
  /// Whether requests that change nothing need the token, too.
  bool readToken = true;
  std::vector<std::string> allowOrigins = {};

  /// Of `[storage]`; a stream may have its own root.
  std::string root = "/var/lib/k2r";
  /// `bytes` is for all streams together. `age` is the default of streams, and for recordings of streams that are not
  /// configured any more.
  KeepLimits keep = {};
  /// Bytes of the file system of each root that stay free; 0 is no limit.
  std::uint64_t keepFree = 0;
  /// Hooks that run at once.
  unsigned hookParallel = 4;
  /// A hook that runs longer is ended, and tried again later; nothing: it may run for ever.
  std::optional<std::chrono::milliseconds> hookTimeout = std::chrono::hours(1);

  std::vector<StreamConfig> streams = {};
};

}  // namespace host::serve
