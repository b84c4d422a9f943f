#pragma once

#include "host/serve/recordingName.h"

namespace host::serve {

/// What the recording threads report to the rest of the program. Called on the thread of the stream, which waits
/// meanwhile: no call may throw, or wait for more than a small file.
class RecordingEvents {
 public:
  /// The directory exists and is locked by this process.
  virtual void began(const RecordingPlace& recording) = 0;
  /// A fragment is on disk, and bootstrap and index name it.
  virtual void grew(const RecordingPlace& recording) = 0;
  /// Nothing is written to the directory any more, and it is not locked. A directory without a fragment was removed
  /// before, and `isEmpty` is set.
  virtual void finished(const RecordingPlace& recording, bool isEmpty) = 0;
  /// Instead of finished(): its files could not be completed, since the disk is full or away. It can be repaired once
  /// its stream has begun another one.
  virtual void interrupted(const RecordingPlace& recording) = 0;

 protected:
  ~RecordingEvents() = default;
};

}  // namespace host::serve
