#pragma once

#include <chrono>
#include <cstdio>
#include <functional>

#include "host/Module.h"
#include "host/serve/DurationHistogram.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/streams/RecordingBegins.h"
#include "host/serve/streams/RecordingEvents.h"

namespace host::serve {

/// What all streams of the process use. Any thread may call the functions; the references outlive the streams.
struct StreamServices {
  const Module& module;
  RecordingEvents& events;
  WallClock now = systemClockMs;
  /// Where the log lines go.
  std::FILE* log = stderr;
  /// Called once on the stream's thread before it records: completes what was interrupted. May throw; the stream
  /// records nevertheless. Null for nothing.
  std::function<void(const StreamConfig&)> prepare = {};
  /// Throws CommandError if the stream's root must not be used, such as the mount point of a disk that is not there.
  /// Null for no check.
  std::function<void(const StreamConfig&)> requireRoot = {};
  /// Called when a stream cannot write to its root, and again and again until it can: removes what is over the limits.
  /// Must not wait. Null for nothing.
  std::function<void(const std::string& root)> makeRoom = {};
  /// How long fragments take to be on disk. Null if that is not measured.
  DurationHistogram* fragmentWrites = nullptr;
  /// Pauses between attempts to open a source; each is twice as long as the one before.
  std::chrono::milliseconds firstPause = std::chrono::seconds(1);
  std::chrono::milliseconds longestPause = std::chrono::seconds(30);
  /// A stream whose thread needs longer for what the source gave at once hangs in its disk.
  std::chrono::milliseconds workLimit = std::chrono::seconds(30);
  /// Pause between attempts to make a recording's directory.
  std::chrono::milliseconds roomPause = std::chrono::seconds(1);
};

}  // namespace host::serve
