#pragma once

#include <string>
#include <vector>

#include "host/OutputDirectory.h"
#include "host/errors.h"
#include "host/record/Progress.h"
#include "host/recordingFiles.h"

namespace host {

/// What the user asked `k2r record` for.
struct RecordOptions {
  std::string input;
  std::string directory;
  OpenMode mode = OpenMode::kNew;
  /// Append to a damaged recording, too.
  bool force = false;
  /// `KEY=VALUE` each; stronger than the file.
  std::vector<std::string> settings;
  std::string settingsFile;
  std::vector<std::string> maps;
  bool realTime = false;
  /// Leave the recording as a crash would.
  bool noStop = false;
  Durability durability = Durability::kDevice;
  ProgressStyle progress = ProgressStyle::kNone;
};

/// Records one input. Throws CommandError where nothing could be recorded; what goes wrong later is in the answer, with
/// a line on standard error.
ExitStatus runRecord(const RecordOptions& options);

}  // namespace host
