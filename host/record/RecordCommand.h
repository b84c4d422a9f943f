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
  std::string settingsFile;
  InputOptions inputOptions;
  bool realTime = false;
  /// Head and tail of the stream are kept; see SessionOptions.
  bool keepsEnds = true;
  /// Bytes that may wait for a fragment.
  std::uint64_t maxQueue = std::uint64_t{256} << 20;
  /// Leaves the recording as a crash would.
  bool noStop = false;
  Durability durability = Durability::kDevice;
  ProgressStyle progress = ProgressStyle::kNone;
  /// Nothing but errors and warnings on standard error.
  bool quiet = false;
  /// The outcome as a document on standard output.
  bool json = false;
};

/// Records one input, into one recording and, where its codecs change, into further ones in directories beside it,
/// whose names end in -2, -3 and so on. Throws CommandError where nothing could be recorded; what goes wrong later is
/// in the answer, with a line on standard error.
ExitStatus runRecord(const RecordOptions& options);

}  // namespace host
