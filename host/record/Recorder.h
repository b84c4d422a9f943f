#pragma once

#include <memory>
#include <optional>

#include "host/FileContext.h"
#include "host/HeldPlace.h"
#include "host/Log.h"
#include "host/Module.h"
#include "host/OpenContext.h"
#include "host/OutputDirectory.h"
#include "host/Recording.h"
#include "host/Settings.h"
#include "host/StopSignal.h"
#include "host/StreamContext.h"
#include "host/input/CodecChanges.h"
#include "host/record/RecordCommand.h"
#include "host/record/RecordSession.h"
#include "host/record/RecordSummary.h"
#include "host/record/RecordingEnd.h"

namespace host {

/// Makes one recording of what an input gives, from the opening to the end. Keeps references to all it is given, which
/// outlive it.
class Recorder {
 public:
  /// `place` is held by this process.
  Recorder(const RecordOptions& options, const Settings& settings, const OutputDirectory& place, const Module& module,
           const StopSignal& stop, Log& log);

  /// Until the input ends, or belongs into another recording. Throws CommandError where the recording cannot be opened;
  /// nothing has been written then.
  RecordSummary record(CodecChanges& input, OpenMode mode);

 private:
  std::unique_ptr<ReplacedRecording> prepare(OpenMode mode);
  void prepareInput(CodecChanges& input);
  RecordSummary run(Recording& recording, StreamFollower& follower, CodecChanges& input,
                    const std::optional<RecordingEnd>& end, ReplacedRecording* old);
  SessionOptions sessionOptions(const std::optional<RecordingEnd>& end) const;
  StoredPart readStored(const std::optional<RecordingEnd>& end) const;

  const RecordOptions& options_;
  const OutputDirectory& place_;
  const StopSignal& stop_;
  Log& log_;
  FileContext files_;
  StreamContext context_;
  OpenContext openContext_;
  std::unique_ptr<IMOStreamAdaptor> adaptor_;
};

}  // namespace host
