#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/Settings.h"
#include "host/StopSignal.h"
#include "host/input/Backlog.h"
#include "host/input/CodecChanges.h"
#include "host/record/RecordAccount.h"
#include "host/record/RecordCommand.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/streams/RecordingBegins.h"
#include "host/serve/streams/Rotation.h"
#include "host/serve/streams/StreamMeter.h"
#include "host/serve/streams/StreamServices.h"

namespace host::serve {

/// Records a source from one opening to its end, into one recording after another: `ROOT/<stream>/<begin>`. Each begins
/// with the very frame at which the one before ended. Belongs to the stream's thread. Keeps references to all
/// arguments, which outlive it.
///
/// While no recording can be made or written, because the disk is full or gone, the newest messages that fit the queue
/// limit are kept, and recording continues as soon as it can.
class StreamSession {
 public:
  /// `rotation` is set by others to ask for a new recording.
  StreamSession(const StreamConfig& config, const Settings& settings, const StreamServices& services,
                StreamMeter& meter, const StopSignal& stop, std::atomic<bool>& rotation, Log& log);

  /// Opens the source and records until it ends, or until a request to stop. Returns whether the source has an end of
  /// its own, as a file has, so that it should not be opened again. Throws InputError if the source cannot be opened
  /// or fails, and UsageError for options that do not fit it; what came before that is recorded.
  bool run();

 private:
  /// Why the recording in progress should end at a split point.
  std::optional<std::string> wish(const CodecChanges::SplitPoint& point);
  /// Makes one recording, as soon as that is possible. `mediaMs` is the time of its first frame in the input.
  void record(CodecChanges& input, Backlog& backlog, std::uint32_t mediaMs);
  /// Whether a new recording should begin with a picture of another size, after so much of this one.
  bool mayFollowPicture(std::uint32_t recordedMs);
  /// `beginMs` in ms since 1970-01-01 UTC. Throws CommandError if the recording cannot be made; the input has not been
  /// read then.
  void recordAt(CodecChanges& input, std::int64_t beginMs);
  /// The recording in `place` begins: `place` exists and is locked.
  void begin(const OutputDirectory& place, std::int64_t beginMs);
  /// The files of the recording cannot be completed. Counts what is lost by it in `account`.
  void interrupt(RecordAccount& account);
  /// Throws CommandError if a recording that begins now could not be written.
  void requireRoom() const;
  /// The begin of a recording of what is kept; nothing if nothing is kept and the input has ended.
  std::optional<std::int64_t> beginOfKept(Backlog& backlog);
  /// Reads ahead until it is time to try again. Returns false at the end of the input.
  bool waitForRoom(Backlog& backlog);

  const StreamConfig& config_;
  const Settings& settings_;
  const StreamServices& services_;
  StreamMeter& meter_;
  const StopSignal& stop_;
  std::atomic<bool>& rotation_;
  Log& log_;
  RecordOptions options_;
  RecordingBegins begins_;
  Rotation rotationTime_;
  /// Of the recording in progress.
  std::string recordingPath_;
  /// Number of such pictures in a row that came soon after the begin of a recording.
  unsigned quickPictures_ = 0;
  /// Why the recording before ended, for the log; empty if there was none.
  std::string endReason_;
  /// Why the input of the last recording failed.
  std::optional<std::string> inputFailure_;
};

}  // namespace host::serve
