#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "host/Log.h"
#include "host/input/Backlog.h"
#include "host/input/Input.h"
#include "host/record/RecordObserver.h"
#include "host/serve/streams/StreamServices.h"
#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

/// Keeps the status of a stream, and reports what happens to its recordings. Belongs to the stream's thread.
class StreamMeter final : public RecordObserver, public InputObserver {
 public:
  /// Messages that are not on disk, and the media time that they cover.
  struct Missing {
    Tally messages;
    std::uint32_t ms = 0;
  };

  /// The references outlive it. `filter` removes passwords from error texts; null for none.
  StreamMeter(const StreamConfig& config, StreamStatus& status, const StreamServices& services, Log::Filter filter);

  /// Notes the time if that is another state than before. With kBlocked the retention looks at the root at once.
  void setState(StreamState state);
  /// Remembers the error. Does not change the state.
  void fail(const std::string& text);

  /// A recording has its directory, and its lock.
  void began(const std::string& recording);
  /// The recording is unlocked, or removed if it is empty.
  void finished(bool isEmpty);
  /// The recording is unlocked, and its files could not be completed. What came after the last fragment that is known
  /// to be on disk is lost: returns that part of it which was not counted as lost before, and counts it.
  Missing interrupted();
  /// The counts of the next readAhead() begin at 0: the input was opened again.
  void opened() { beforeBegin_ = overLimit_ = {}; }
  /// For WatchedInput.
  StreamStatus& status() { return status_; }
  /// Takes the counts of what the input was read ahead.
  void readAhead(const Backlog& backlog);

  /// Of the recording in progress.
  std::uint64_t fragments() const { return last_.fragments; }
  /// A fragment that was due could not be written.
  bool isFailing() const { return isFailing_; }
  /// And messages are lost, since the queue limit is reached.
  bool isFull() const { return isFull_; }

  void recorded(const State& state) override;
  void wroteFragment(std::chrono::nanoseconds duration) override;
  void inputLost(const std::string& why) override;
  void inputFailed(const std::string& why) override { fail(why); }
  void inputBack(std::chrono::milliseconds away) override;

 private:
  using Clock = std::chrono::steady_clock;

  /// What recorded() saw last, to add only what is new.
  struct Seen {
    Tally received;
    Tally stored;
    std::array<Tally, kLossReasons> lost;
    std::array<std::uint64_t, kLossReasons> lostMs{};
    /// Media time that is not counted as lost, and how much of it was there when a fragment was stored last.
    std::uint32_t keptMs = 0;
    std::uint32_t storedMs = 0;
    std::uint64_t gaps = 0;
    std::uint64_t fragments = 0;
  };

  /// What was received of the recording, and is counted neither as stored nor as lost.
  Tally unsettled() const;
  /// There is no recording in progress any more. Returns the one that was.
  RecordingPlace leaveRecording();
  /// What the recording has on disk after a fragment has succeeded; nothing if the counts do not say it.
  std::optional<Tally> storedBy(const State& state) const;
  /// Adds what was lost since the last state.
  void addLosses(StreamSnapshot& status, const RecordAccount& account) const;
  void addDropped(StreamSnapshot& status, LossReason reason, const Backlog::Dropped& now, Backlog::Dropped& before);
  /// Computes the rate once enough time has gone.
  void measureRate(StreamSnapshot& status);

  StreamStatus& status_;
  const StreamServices& services_;
  Log::Filter filter_;
  /// The recording in progress; without a name if there is none.
  RecordingPlace recording_;
  Seen last_;
  Backlog::Dropped beforeBegin_;
  Backlog::Dropped overLimit_;
  bool isFailing_ = false;
  bool isFull_ = false;
  Clock::time_point rateSince_ = Clock::now();
  std::uint64_t rateBytes_ = 0;
};

}  // namespace host::serve
