#pragma once

#include <string>
#include <vector>

#include "host/serve/recordingName.h"

namespace host::serve {

/// A hook that is to run for a recording, with all that its start needs. A reload does not change it.
struct HookJob {
  RecordingPlace recording;
  /// The command as configured, with its placeholders.
  std::vector<std::string> words;
};

/// What log lines call the hook of a recording: "hook of STREAM/RECORDING".
inline std::string hookTitle(const RecordingPlace& recording) {
  return "hook of " + recording.stream + "/" + recording.name;
}

}  // namespace host::serve
