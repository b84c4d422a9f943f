#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/ServeConfig.h"
#include "host/serve/streams/StreamRecorder.h"
#include "host/serve/streams/StreamServices.h"
#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

/// The streams of the process, each recorded on its own thread. Any thread may call it.
class Supervisor {
 public:
  /// A stream as others see it.
  struct View {
    StreamConfig config;
    StreamSnapshot snapshot;
  };

  explicit Supervisor(StreamServices services) : services_(std::move(services)) {}
  /// Lets all streams finish, and waits for that.
  ~Supervisor();
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;

  /// Records what `config` says from now on. Streams that are new begin, those that are gone finish, those whose
  /// recording is configured in another way finish and begin again, the others do not notice. Does not wait for those
  /// that finish. A stream for which the system has no thread or descriptor is in the state "failed", and is tried
  /// again by the next call.
  void apply(const ServeConfig& config);
  /// Lets all streams finish, and begins none from here on. Waits for that until `deadline`, and returns the names of
  /// those that have not. Other calls wait meanwhile.
  std::vector<std::string> finish(std::chrono::steady_clock::time_point deadline);

  /// Writes a line for each stream that has come to hang in its disk, and one when that is over, since the stream's
  /// thread cannot. To be called every few seconds, by one thread.
  void logHangs();

  /// The configured streams, sorted by name.
  std::vector<View> views() const;
  /// One of views(); nothing if no stream of that name is configured.
  std::optional<View> find(const std::string& name) const;

  /// Starts or stops the recording of a stream, until the next start of the process. A source with an end of its own
  /// is recorded again. False if there is no such stream.
  bool start(const std::string& name);
  bool stop(const std::string& name);
  /// Begins a new recording at the next key frame. False if there is no such stream, or it is not recording.
  bool rotate(const std::string& name);

 private:
  struct Stream {
    StreamConfig config;
    /// False once it is gone from the configuration. The entry is removed when its recorder is done.
    bool isConfigured = true;
    /// What start() or stop() asked for; nothing if neither did.
    std::optional<bool> wanted = {};
    /// Also of the recorders before, so that counts do not fall.
    std::shared_ptr<StreamStatus> status = std::make_shared<StreamStatus>();
    /// Null before the first one.
    std::unique_ptr<StreamRecorder> recorder = {};
    /// `recorder` has been asked to stop.
    bool isEnding = false;
    /// Since when it hangs, if that was logged.
    std::optional<std::chrono::steady_clock::time_point> hangsSince = {};
  };

  /// How long the stream's thread hangs in its disk; 0 if it does not. Call it with the lock.
  std::chrono::nanoseconds hangingFor(const Stream& stream, StreamState state) const;
  /// The stream as others see it. Its thread cannot say that it hangs, so this does. Call it with the lock.
  View viewOf(const Stream& stream) const;
  /// Gives the stream a recorder, which waits for the end of the one before. Call it with the lock.
  void begin(Stream& stream);
  static void end(Stream& stream);
  /// Removes streams that are gone and done. Call it with the lock.
  void removeDone();

  const StreamServices services_;
  mutable std::mutex mutex_;
  // Guarded by `mutex_`.
  std::map<std::string, Stream> streams_;
  /// finish() was called.
  bool isFinishing_ = false;
  /// Taken by a recorder's thread at its end, and after `mutex_`. Not `mutex_`: a recorder may be destroyed,
  /// which waits for its thread, while `mutex_` is locked.
  std::mutex doneMutex_;
  /// Notified when a recorder is done.
  std::condition_variable done_;
};

}  // namespace host::serve
