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

/// Makes one recording from an input, from opening it to its end. Keeps references to all arguments, which outlive it.
/// For one recording; the next one, after a change of codecs, gets another object. The module's adaptor is made in the
/// constructor and lives as long.
class Recorder {
 public:
  /// This process must have locked `place` (HeldPlace).
  Recorder(const RecordOptions& options, const Settings& settings, const OutputDirectory& place, const Module& module,
           const StopSignal& stop, Log& log);

  /// Null for none. Outlives the recorder.
  void observe(RecordObserver* observer) { observer_ = observer; }
  /// Records until the input ends, or until its codecs change so that another recording is needed. Throws CommandError
  /// if the recording cannot be opened; nothing has been written then.
  RecordSummary record(CodecChanges& input, OpenMode mode);

 private:
  std::unique_ptr<ReplacedRecording> prepare(OpenMode mode);
  void prepareInput(CodecChanges& input);
  /// The part while the module has the recording open. `old` is the recording that an --overwrite moved aside, or null;
  /// it is removed as soon as the new one has a bootstrap.
  RecordSummary run(Recording& recording, StreamFollower& follower, CodecChanges& input,
                    const std::optional<RecordingEnd>& end, ReplacedRecording* old);
  /// An append begins at the recording's end, unless the input keeps its times.
  SessionOptions sessionOptions(const std::optional<RecordingEnd>& end) const;
  /// Counts what this call stored. Never throws for files that cannot be read: the result says so.
  StoredPart readStored(const std::optional<RecordingEnd>& end) const;

  const RecordOptions& options_;
  const OutputDirectory& place_;
  const StopSignal& stop_;
  Log& log_;
  RecordObserver* observer_ = nullptr;
  FileContext files_;
  StreamContext context_;
  OpenContext openContext_;
  std::unique_ptr<IMOStreamAdaptor> adaptor_;
};

}  // namespace host
