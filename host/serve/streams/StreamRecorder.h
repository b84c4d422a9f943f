#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "host/Log.h"
#include "host/Settings.h"
#include "host/StopSignal.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/streams/SmallThread.h"
#include "host/serve/streams/StreamMeter.h"
#include "host/serve/streams/StreamServices.h"
#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

/// The thread that records one stream, until it is asked to stop. It opens the source again and again, with growing
/// pauses, unless the source has an end of its own, as a file has. Such a source is recorded once, as fast as it can be
/// read. Nothing that happens to the stream ends the process or another stream.
class StreamRecorder {
 public:
  /// Starts the thread. It first waits for the end of `predecessor`, which recorded the same stream and may be null.
  /// `whenDone` is called on the thread when it has nothing more to do. `services` outlives the object. Throws
  /// std::system_error if the system has no more threads or descriptors.
  StreamRecorder(StreamConfig config, const StreamServices& services, std::shared_ptr<StreamStatus> status,
                 std::unique_ptr<StreamRecorder> predecessor, std::function<void()> whenDone);
  /// Requests the stop, and waits until the recording is finished.
  ~StreamRecorder() { requestStop(); }
  StreamRecorder(const StreamRecorder&) = delete;
  StreamRecorder& operator=(const StreamRecorder&) = delete;

  // Any thread may call these.

  /// Ends all waits; the recording is finished then.
  void requestStop() noexcept;
  /// Begins a new recording at the next split point.
  void requestRotation() { rotation_ = true; }
  /// Whether the thread has come to its end.
  bool isDone() const { return isDone_; }

 private:
  void run();
  /// Records until the stop, or until the source comes to an end of its own.
  void recordAll();
  /// Opens and records the source once. Returns false if it should not be opened again.
  bool recordOnce(const Settings& settings);

  const StreamConfig config_;
  const StreamServices& services_;
  const std::shared_ptr<StreamStatus> status_;
  std::unique_ptr<StreamRecorder> predecessor_;
  std::function<void()> whenDone_;
  StopSignal stop_;
  std::atomic<bool> rotation_ = false;
  std::atomic<bool> isDone_ = false;
  Log log_;
  StreamMeter meter_;
  /// Last: it uses all of the above.
  SmallThread thread_;
};

}  // namespace host::serve
