#include "fragmentation/AVFragmenter.h"

namespace ruvo::k2r {
namespace {

using State = AVFragmenter::State;
using enum AVFragmenter::State;
using enum FragmentAction;

/// What a sample does to the open fragment and to the current slot.
enum class Step {
  kStay,
  /// The timeline enters the sample's slot; the first fragment may start on its grid line.
  kAwaitKey,
  /// The recording begins.
  kStartAtKey,
  /// The timeline enters the sample's slot.
  kMarkCrossing,
  /// The open fragment ends at the sample, in the current slot.
  kCloseAtKey,
  /// The open fragment ends at the sample, and the timeline enters its slot.
  kCloseOnCrossingKey,
  /// The open fragment ends with the slot before the current one, and the timeline enters the sample's slot.
  kCloseAtGrid,
};

struct Transition {
  Step step;
  FragmentAction action;
  State next;
};

// `next` of kStay is never read: the state stays.
constexpr Transition kStay = {Step::kStay, None, kNothingSeen};
constexpr Transition kAwait = {Step::kAwaitKey, None, kAwaitingKey};
constexpr Transition kStart = {Step::kStartAtKey, StartRecording, kOpen};
constexpr Transition kMark = {Step::kMarkCrossing, None, kSlotOver};
constexpr Transition kWriteToKey = {Step::kCloseAtKey, WriteFragment, kOpen};
constexpr Transition kFlushToKey = {Step::kCloseAtKey, FlushHeldFragment, kOpen};
constexpr Transition kWriteToCrossingKey = {Step::kCloseOnCrossingKey, WriteFragment, kOpen};
constexpr Transition toGrid(FragmentAction action, State next) {
  return {Step::kCloseAtGrid, action, next};
}

/// Any other sample in the current slot changes nothing.
struct Row {
  /// A key frame in a later slot.
  Transition crossingKey;
  /// A key frame in the current slot.
  Transition key;
  /// Another sample in a later slot.
  Transition crossing;
};

// In the order of State. A fragment can only be written up to a point that a key frame follows. A grid line without one
// closes the fragment, which is then held until a key frame has come.
// clang-format off
constexpr Row kRows[] = {
    // state                crossingKey                             key           crossing
    /* kNothingSeen     */ {kStay,                                  kStay,        kStay},
    /* kLeadIn          */ {kStart,                                 kStay,        kAwait},
    /* kAwaitingKey     */ {kStart,                                 kStart,       kStay},
    /* kSlotOver        */ {toGrid(HoldFragment, kHeldThenKey),     kWriteToKey,  toGrid(HoldFragment, kHeld)},
    /* kOpen            */ {kWriteToCrossingKey,                    kStay,        kMark},
    /* kOpenBehind      */ {toGrid(WriteFragment, kOpenBehind),     kStay,        kMark},
    /* kHeld            */ {toGrid(SkipFragment, kHeldThenKey),     kFlushToKey,  toGrid(SkipFragment, kHeld)},
    /* kHeldThenKey     */ {toGrid(FlushHeldFragment, kOpenBehind), kStay,        toGrid(FlushHeldFragment, kFlushed)},
    /* kFlushed         */ {toGrid(HoldFragment, kHeldThenKey),     kWriteToKey,  toGrid(HoldFragment, kHeld)},
};
// clang-format on

const Transition& transitionOf(State state, bool key, bool crossing) {
  const Row& row = kRows[static_cast<std::uint32_t>(state)];
  if (key) return crossing ? row.crossingKey : row.key;
  return crossing ? row.crossing : kStay;
}

FragmentAction closingAction(State state) {
  switch (state) {
    case kLeadIn:
    case kAwaitingKey:
      return SkipFragment;
    case kSlotOver:
    case kOpen:
    case kFlushed:
      return WriteFragment;
    case kHeld:
    case kHeldThenKey:
      return FlushHeldFragment;
    case kNothingSeen:
    case kOpenBehind:  // No action by definition, although a fragment is open. The record path never asks.
      return None;
  }
  return None;
}

constexpr std::uint32_t kEndState = 0xFFFFFFFF;

}  // namespace

FragmentDecision AVFragmenter::addSample(const SampleInfo& sample) {
  const std::uint64_t number = fragmentNumberAt(sample.time, fragmentDuration_);
  if (state_ == kNothingSeen) begin(sample.time);

  const std::uint64_t start = fragmentStart_;
  const std::uint64_t before = currentNumber_;
  // A second sample at the time of the open fragment's start belongs to it, key frame or not: closing there would give
  // a fragment no duration at all.
  const bool repeatsStart = state_ >= kSlotOver && sample.time == start;
  const Transition transition = repeatsStart ? kStay : transitionOf(state_, sample.keyFrame, number > before);
  switch (transition.step) {
    case Step::kStay:
      return decide(None, start, number, before);
    case Step::kStartAtKey:
      return startAtKey(sample.time, number);
    case Step::kAwaitKey:
      fragmentStart_ = (number - 1) * fragmentDuration_;
      enterSlot(number);
      break;
    case Step::kMarkCrossing:
      enterSlot(number);
      break;
    case Step::kCloseAtKey:
      fragmentStart_ = sample.time;
      break;
    case Step::kCloseOnCrossingKey:
      fragmentStart_ = sample.time;
      enterSlot(number);
      break;
    case Step::kCloseAtGrid:
      // The end of the slot before the current one, not of the current: samples of the current slot stay queued.
      fragmentStart_ = previousNumber_ * fragmentDuration_;
      enterSlot(number);
      break;
  }
  state_ = transition.next;
  return decide(transition.action, start, number, before);
}

FragmentDecision AVFragmenter::endOfStream(const SampleInfo& sample) {
  const FragmentAction action = closingAction(state_);
  if (action == None) return {};
  return {.action = action,
          .range = {.fragmentNumber = static_cast<std::uint32_t>(fragmentNumberAt(fragmentStart_, fragmentDuration_)),
                    .startTime = fragmentStart_,
                    .endTime = sample.time + 1,
                    .nextNumber = fragmentNumberAt(sample.time, fragmentDuration_),
                    .previousNumber = currentNumber_,
                    .nextState = kEndState}};
}

std::optional<std::uint64_t> AVFragmenter::openNumber() const {
  if (state_ < kSlotOver) return std::nullopt;
  return fragmentNumberAt(fragmentStart_, fragmentDuration_);
}

void AVFragmenter::begin(std::uint64_t time) {
  firstTime_ = time;
  currentNumber_ = fragmentNumberBefore(time, fragmentDuration_);
  state_ = kLeadIn;
}

FragmentDecision AVFragmenter::startAtKey(std::uint64_t time, std::uint64_t number) {
  const std::uint64_t before = currentNumber_;
  const bool dropsLeadIn = dropLeadIn_ && time != firstTime_;
  // After kAwaitingKey, samples that are kept belong to the fragment that begins on the grid line.
  if (dropsLeadIn || state_ == kLeadIn) fragmentStart_ = time;
  enterSlot(number);
  state_ = kOpen;
  return decide(dropsLeadIn ? StartRecording : None, time, number, before);
}

void AVFragmenter::enterSlot(std::uint64_t number) {
  previousNumber_ = currentNumber_;
  currentNumber_ = number;
}

FragmentDecision AVFragmenter::decide(FragmentAction action, std::uint64_t start, std::uint64_t number,
                                      std::uint64_t before) const {
  FragmentRange range = {
      .nextNumber = number, .previousNumber = before, .nextState = static_cast<std::uint32_t>(state_)};
  if (action != None) {
    range.fragmentNumber = static_cast<std::uint32_t>(fragmentNumberAt(start, fragmentDuration_));
    range.startTime = start;
    range.endTime = fragmentStart_;
  }
  return {.action = action, .range = range};
}

}  // namespace ruvo::k2r
