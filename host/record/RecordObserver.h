#pragma once

#include <cstdint>

#include "host/record/RecordAccount.h"

namespace host {

/// Follows a recording while it is made.
class RecordObserver {
 public:
  /// A recording at one moment. Counts are those of this recording.
  struct State {
    const RecordAccount& account;
    /// Memory of the messages that wait for their fragment.
    std::uint64_t queueBytes = 0;
    /// Fragments on disk, named by index and bootstrap.
    std::uint64_t fragments = 0;
    /// The last fragment that was due could not be written.
    bool isFailing = false;
    /// The queue limit is reached, and messages are lost.
    bool isFull = false;
  };

  /// Called after each message and after the last fragment, on the thread that records and before it goes on.
  virtual void recorded(const State& state) = 0;

 protected:
  ~RecordObserver() = default;
};

}  // namespace host
