#pragma once

#include <cstdint>

#include "host/Log.h"
#include "host/record/RecordAccount.h"
#include "host/record/StreamFollower.h"

namespace host {

/// Limits the memory of the messages that wait in the module for their fragment. Above the limit messages are dropped
/// until one comes that can close the fragment: a key frame, or without video any message after the fragment's end. So
/// the recording continues with something that can be decoded, and memory stays bounded if no fragment is ever written.
/// Belongs to the thread that records the stream.
class QueueLimit {
 public:
  /// `bytes` is the limit of FragmentModel::queueSize(). All references outlive the object.
  QueueLimit(std::uint64_t bytes, const StreamFollower& follower, RecordAccount& account, Log& log)
      : bytes_(bytes), follower_(follower), account_(account), log_(log) {}

  /// Whether to record the message. It must be the one that `follower` judged last, and reach the fragmenter. If not,
  /// it is counted as lost, and the first one is logged.
  bool admits(const InputMessage& message);
  bool isFull() const { return isFull_; }
  /// Call after each message that was recorded: logs and counts the gap once there is room again.
  void update();

 private:
  /// Whether the module could write a fragment when it gets this message, so that it is worth its memory even above the
  /// limit.
  bool bringsFragment(const InputMessage& message) const;

  std::uint64_t bytes_;
  const StreamFollower& follower_;
  RecordAccount& account_;
  Log& log_;
  bool isFull_ = false;
  /// The size at which the limit was reached: room has come as soon as the queue is smaller.
  std::uint64_t sizeWhenFull_ = 0;
  /// Since the limit was reached last.
  Tally dropped_;
  std::uint32_t firstDroppedMs_ = 0;
};

}  // namespace host
