#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/input/Input.h"
#include "host/record/FragmentModel.h"
#include "host/record/MessageCheck.h"
#include "host/record/RecordingEnd.h"

namespace host {

/// Goes beside a stream on its way into the module, and knows what keeps all of it: the message to put at its head, and
/// those that close the last fragment, without which the module would drop what it has queued when it is stopped. What
/// is made up for this has kMadeUpBit in its type, belongs to a track that there is, and is never stored.
///
///     switch (follower.judge(message)) ...           for every message, in order
///     if (auto head = follower.headFor(message, true)) record(*head), follower.take(*head, answer);
///     record(message); follower.take(message, answer);
///     for (message : follower.closing()) ...         once, ahead of the stop
///
/// What it makes up is a view of its own data, valid until it goes. Belongs to the thread that records the stream.
class StreamFollower {
 public:
  /// Of a new recording. `fragmentDuration` in milliseconds, not 0.
  StreamFollower(std::uint32_t fragmentDuration, bool isProtected)
      : check_(std::nullopt, isProtected), model_(fragmentDuration) {}
  /// Of one that is continued behind `end`.
  StreamFollower(std::uint32_t fragmentDuration, bool isProtected, const RecordingEnd& end);

  /// What becomes of the message when it is recorded. For each once, in order.
  Reception judge(const InputMessage& message);
  /// Whether there was no track for the message that was judged last, so that a later one might come too late to make
  /// it.
  bool madeTrack() const { return check_.madeTrack(); }
  /// What has to be recorded ahead of the first message that reaches the fragmenter, so that the recording begins on a
  /// line of the grid: the module keeps nothing from before the first line. With `keepsLeadIn` also what comes ahead of
  /// the first picture of a stream that has announced pictures: the module would drop it at the first key frame.
  /// Nothing where it does so by itself.
  std::optional<InputMessage> headFor(const InputMessage& message, bool keepsLeadIn);
  /// Takes a message that reached the fragmenter, made up or not, and the module's answer.
  FragmentModel::Step take(const InputMessage& message, bool recorded);
  /// The messages after which nothing real waits in the module: the first of a few sequences that a copy of the model
  /// shows to do it. Empty where nothing waits, and where none of them does.
  std::vector<InputMessage> closing() const;

  /// Pictures decide where fragments begin.
  bool goesByVideo() const { return goesByVideo_; }
  const FragmentModel& model() const { return model_; }
  /// Earlier times belong to fragments that are stored.
  std::uint32_t firstLineMs() const { return firstLineMs_; }

 private:
  /// A made-up message of this kind.
  InputMessage madeUp(ruvo::k2r::SampleKind kind, std::uint64_t timeMs) const;
  InputMessage madeUpInterFrame(std::uint64_t timeMs) const;
  void learnPayload(const InputMessage& message, ruvo::k2r::SampleKind kind);
  std::vector<std::vector<InputMessage>> candidates() const;

  MessageCheck check_;
  FragmentModel model_;
  std::uint32_t firstLineMs_ = 0;
  bool goesByVideo_ = false;
  /// By SampleKind, what a made-up message has for its data; empty before the first real one.
  std::array<std::vector<std::byte>, 3> payloads_;
  std::vector<std::byte> interFrame_;
  /// A key frame of the codec that a sequence header has announced; empty without one.
  std::vector<std::byte> announced_;
  /// 18 or 15.
  std::uint8_t dataType_ = 0;
};

}  // namespace host
