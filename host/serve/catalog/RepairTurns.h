#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>

#include "host/serve/recordingName.h"

namespace host::serve {

/// Lets one thread repair a recording, and only once: at the start the scan of the root and the stream find the same
/// ones. Without it, one of the two would report that the other one's lock is in its way. Any thread may call it.
class RepairTurns {
 public:
  /// Calls `repair`, which returns whether the recording is finished now; what it throws comes through. If another
  /// thread repairs the same recording, waits for its end instead. Does nothing after a repair that succeeded. Returns
  /// whether this call has finished the recording.
  bool repairOnce(const RecordingPlace& recording, const std::function<bool()>& repair);

 private:
  void end(const std::string& path, bool isFinished);

  std::mutex mutex_;
  std::condition_variable ended_;
  /// By path.
  std::set<std::string> underWay_;
  std::set<std::string> finished_;
};

}  // namespace host::serve
