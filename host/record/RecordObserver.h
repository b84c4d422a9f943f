#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/record/RecordAccount.h"
#include "host/record/Tally.h"

namespace host {

/// Follows a recording while it is made.
class RecordObserver {
 public:
  /// A recording at one moment. Counts are those of this recording.
  struct State {
    const RecordAccount& account;
    /// The messages that wait for their fragment, and the memory that they take.
    const Tally& waiting;
    std::uint64_t queueBytes = 0;
    /// Fragments on disk, named by index and bootstrap.
    std::uint64_t fragments = 0;
    /// Why the last fragment that was due could not be written; empty if it could.
    const std::string& failure;
    /// The queue limit is reached, and messages are lost.
    bool isFull = false;
  };

  /// Called after each message and after the last fragment, on the thread that records, which waits.
  virtual void recorded(const State& state) = 0;
  /// Called before that for a message with which a fragment was written: how long the module took for it.
  virtual void wroteFragment(std::chrono::nanoseconds duration) = 0;

 protected:
  ~RecordObserver() = default;
};

}  // namespace host
