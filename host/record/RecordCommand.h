#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/OutputDirectory.h"
#include "host/errors.h"
#include "host/input/Input.h"
#include "host/record/Progress.h"
#include "platform/os/Directory.h"

namespace host {

using platform::os::Durability;

/// The options of `k2r record`.
struct RecordOptions {
  std::string input;
  std::string directory;
  OpenMode mode = OpenMode::kNew;
  /// Appends to a damaged recording, too.
  bool force = false;
  /// `KEY=VALUE` each. They override the file.
  std::vector<std::string> settings;
  /// Empty for none.
  std::string settingsFile;
  InputOptions inputOptions;
  bool realTime = false;
  /// Head and tail of the stream are kept; see SessionOptions.
  bool keepsEnds = true;
  /// Bytes that may wait for a fragment.
  std::uint64_t maxQueue = std::uint64_t{256} << 20;
  /// Leaves the recording as a crash would. For tests and demonstrations of the recovery.
  bool noStop = false;
  /// Reads back what is stored, for the summary. It takes a read for each fragment.
  bool countsStored = true;
  /// How far a replaced file is flushed before the next step.
  Durability durability = Durability::kDevice;
  ProgressStyle progress = ProgressStyle::kNone;
  /// Nothing but errors and warnings on standard error.
  bool quiet = false;
  /// The outcome as a document on standard output.
  bool json = false;
};

/// Records one input. If its codecs change so that a recording cannot have both, the stream continues in further
/// recordings, in directories beside the first one whose names end in -2, -3 and so on. Throws CommandError if nothing
/// could be recorded. Later failures are lines on standard error, and the exit status says that there were some. SIGINT
/// and SIGTERM end the recording properly.
ExitStatus runRecord(const RecordOptions& options);

}  // namespace host
