#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>

#include "fragmentation/FragmenterChoice.h"
#include "host/input/Input.h"
#include "host/record/Tally.h"

namespace host {

/// Set in the type of a message that the host makes up. The module's record path masks the bit out, so the message
/// moves the fragmenter like any other; the segment writer skips such a type, so the message is never stored.
inline constexpr std::uint8_t kMadeUpBit = 0x80;

/// A model of the module's state for one stream: its fragmenter and its queue. Given every message that the module's
/// fragmenter gets, it knows at any moment which messages are not on disk yet. A copy of it shows what further messages
/// would do. Costs a few operations for each message. Belongs to the thread that records the stream. It uses the
/// module's own fragmenter (fragmentation/Fragmenter.h), so both decide alike; only the queue is a copy, of sizes and
/// times without data.
class FragmentModel {
 public:
  /// What one message did.
  struct Step {
    ruvo::k2r::FragmentAction action = ruvo::k2r::FragmentAction::None;
    /// Whether the message kept its time. One that is older than the message before it gets the time of that one.
    bool keptTime = true;
    /// False if a fragment was due and could not be written, because its first video message is no key frame.
    bool possible = true;
    /// The queued messages that the action dropped, and the time they cover in ms.
    Tally discarded = {};
    std::uint32_t discardedMs = 0;
  };

  /// For a new recording. `fragmentDuration` in ms, not 0.
  explicit FragmentModel(std::uint32_t fragmentDuration);
  /// For an append to a recording with the base time `baseMs`. `hasVideo` decides which fragmenter the module takes.
  FragmentModel(std::uint32_t fragmentDuration, bool hasVideo, std::uint32_t baseMs);

  /// Takes a message as the module does. `recorded` is what `record` returned: if false, the message is not queued, and
  /// the messages of the fragment that it closed stay in the queue.
  Step add(const InputMessage& message, bool recorded);
  /// The action that the fragmenter would take for the message. Changes nothing.
  ruvo::k2r::FragmentAction actionFor(const InputMessage& message) const;
  /// Whether no real message would be queued, and no fragment held, after these messages. Changes nothing.
  bool isEmptiedBy(std::span<const InputMessage> messages) const;

  std::uint32_t fragmentDuration() const { return fragmentDuration_; }
  /// Whether no message has been added yet.
  bool isFresh() const { return !started_; }
  /// The time of the last message, in ms, as the fragmenter got it.
  std::uint32_t lastTimeMs() const { return lastTimeMs_; }
  /// The queued messages that are not made up.
  const Tally& waiting() const { return waiting_; }
  /// Time of the first of them in ms; lastTimeMs() if there is none.
  std::uint32_t firstWaitingMs() const;
  /// How many fragments were written.
  std::uint64_t fragments() const { return fragments_; }
  /// Estimate of the memory, in bytes, that the module's queue takes.
  std::uint64_t queueSize() const { return queueSize_; }

 private:
  struct Queued {
    std::uint32_t timeMs = 0;
    std::uint32_t bytes = 0;
    /// Of the queue's front these decide whether a fragment can be written.
    bool isVideo = false;
    bool isKeyFrame = false;
    bool isMadeUp = false;
  };

  /// The time with which the fragmenter gets a message: its own, or that of the message before if it is older.
  std::uint32_t lift(std::uint32_t timeMs) const;
  /// Does to the queue what the module does for the decision.
  void settle(const ruvo::k2r::FragmentDecision& decision, bool recorded, Step& step);
  /// Whether the first queued video message is a key frame; true without video.
  bool beginsWithKeyFrame() const;
  /// Counts a written fragment and drops its messages. `limitMs` is its end.
  void finishFragment(std::uint32_t limitMs);
  void push(const Queued& message);
  void popFront();

  std::uint32_t fragmentDuration_;
  ruvo::k2r::FragmenterChoice fragmenter_;
  std::deque<Queued> queue_;
  /// Sums over `queue_`, so that waiting() and queueSize() do not walk it for each message.
  Tally waiting_;
  std::uint64_t queueSize_ = 0;
  /// Whether a fragment is announced and not written yet.
  bool isHeld_ = false;
  bool started_ = false;
  std::uint64_t fragments_ = 0;
  /// The recording's base time; nothing before the first message of a new recording.
  std::optional<std::uint32_t> baseMs_;
  std::uint32_t lastTimeMs_ = 0;
  /// Time of the last message that was not lifted, relative to the base, modulo 2^32.
  std::uint32_t lastRelativeMs_ = 0;
};

}  // namespace host
