#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/catalog/Catalog.h"

namespace host::serve {

/// What playback needs to know of the streams. Any thread may call it.
class RecordingSource {
 public:
  /// As the end of a time: whatever may be recorded.
  static constexpr std::int64_t kForEverMs = std::numeric_limits<std::int64_t>::max();

  /// Native path of the stream's folder; nothing if there is no such stream.
  virtual std::optional<std::string> folderOf(const std::string& stream) const = 0;
  /// The recordings with any time in [from, to), by rising begin.
  virtual std::vector<RecordingInfo> list(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const = 0;
  /// By the name of its directory. Nothing if the stream has no such recording.
  virtual std::optional<RecordingInfo> find(const std::string& stream, const std::string& recording) const = 0;
  /// Whether more may be recorded without a request: true also between two recordings, and while the source is away.
  virtual bool isRecording(const std::string& stream) const = 0;
  /// The grid of its fragments as configured, in ms.
  virtual std::uint64_t fragmentDurationMs(const std::string& stream) const = 0;

 protected:
  ~RecordingSource() = default;
};

}  // namespace host::serve
