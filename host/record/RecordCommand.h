#pragma once

#include <string>
#include <vector>

#include "host/OutputDirectory.h"
#include "host/errors.h"
#include "host/input/Input.h"
#include "host/record/Progress.h"
#include "host/recordingFiles.h"

namespace host {

/// What the user asked `k2r record` for.
struct RecordOptions {
  std::string input;
  std::string directory;
  OpenMode mode = OpenMode::kNew;
  /// `KEY=VALUE` each; stronger than the file.
  std::vector<std::string> settings;
  std::string settingsFile;
  InputOptions inputOptions;
  bool realTime = false;
  /// Leave the recording as a crash would.
  bool noStop = false;
  Durability durability = Durability::kDevice;
  ProgressStyle progress = ProgressStyle::kNone;
};

/// Records one input, into one recording and, where its codecs change, into further ones in directories beside it,
/// whose names end in -2, -3 and so on. Throws CommandError where nothing could be recorded; what goes wrong later is
/// in the answer, with a line on standard error.
ExitStatus runRecord(const RecordOptions& options);

}  // namespace host
