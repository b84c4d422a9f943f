#pragma once

#include <cstdint>

#include "host/Log.h"
#include "host/record/RecordAccount.h"
#include "host/record/StreamFollower.h"

namespace host {

/// Keeps what waits in the module for a fragment within a size. Beyond it messages do not go in, until one comes that
/// brings the fragment along: a key frame, or without pictures any message behind the fragment's end. So the recording
/// goes on with something that can be decoded, and memory stays bounded where no fragment ever comes.
class QueueLimit {
 public:
  /// `bytes` bound FragmentModel::queueSize(). The rest outlives the object.
  QueueLimit(std::uint64_t bytes, const StreamFollower& follower, RecordAccount& account, Log& log)
      : bytes_(bytes), follower_(follower), account_(account), log_(log) {}

  /// Whether the message, which was judged just now and reaches the fragmenter, may go in. Counts and tells of what may
  /// not.
  bool admits(const InputMessage& message);
  bool isFull() const { return isFull_; }
  /// To be told behind each message that went in.
  void update();

 private:
  bool bringsFragment(const InputMessage& message) const;

  std::uint64_t bytes_;
  const StreamFollower& follower_;
  RecordAccount& account_;
  Log& log_;
  bool isFull_ = false;
  Tally dropped_;
  std::uint32_t firstDroppedMs_ = 0;
};

}  // namespace host
