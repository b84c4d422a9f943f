#include "host/serve/retention/Retention.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <stop_token>
#include <thread>

namespace host::serve {

/// The thread of one root.
class Retention::RootThread {
 public:
  RootThread(const std::string& root, Retention& owner)
      : root_(root),
        mayRemove_(owner.mayRemove_),
        log_(owner.log_),
        retention_(root, owner.catalog_, owner.mustKeep_, owner.onHeldRemoved_, owner.log_, owner.surroundings_,
                   owner.counts_),
        thread_([this](const std::stop_token& stop) { run(stop); }) {}

  void setLimits(RootLimits limits) {
    const std::scoped_lock lock(mutex_);
    limits_ = std::move(limits);
    isWoken_ = true;
    wake_.notify_one();
  }

  void wake() {
    const std::scoped_lock lock(mutex_);
    isWoken_ = true;
    wake_.notify_one();
  }

 private:
  void run(const std::stop_token& stop) {
    // A full disk makes each stream ask for room again and again.
    constexpr std::chrono::seconds kPause(1);
    while (const auto limits = nextLimits(stop)) {
      try {
        const bool isOurs = !limits->isAny() || !mayRemove_ || mayRemove_(root_);
        // A pass without limits takes back the marks of the pass before.
        retention_.pass(isOurs ? *limits : RootLimits());
      } catch (const std::exception& error) {
        log_.error(fmt::format("{}: cannot look for recordings to remove: {}", root_, error.what()));
      }
      std::unique_lock lock(mutex_);
      wake_.wait_for(lock, stop, kPause, [] { return false; });
    }
  }

  /// Waits until it is time for a pass, and returns its limits; nothing at the end.
  std::optional<RootLimits> nextLimits(const std::stop_token& stop) {
    constexpr std::chrono::seconds kPeriod(5);
    std::unique_lock lock(mutex_);
    if (limits_.isAny()) {
      wake_.wait_for(lock, stop, kPeriod, [this] { return isWoken_; });
    } else {
      wake_.wait(lock, stop, [this] { return isWoken_; });
    }
    if (stop.stop_requested()) return std::nullopt;
    isWoken_ = false;
    return limits_;
  }

  const std::string root_;
  const MayRemove mayRemove_;
  Log& log_;
  RootRetention retention_;
  /// Guards `limits_` and `isWoken_`.
  std::mutex mutex_;
  std::condition_variable_any wake_;
  RootLimits limits_;
  bool isWoken_ = false;
  /// Last, so that it ends first.
  std::jthread thread_;
};

Retention::Retention(Catalog& catalog, RootRetention::MustKeep mustKeep, RootRetention::OnHeldRemoved onHeldRemoved,
                     Log& log, const Surroundings& surroundings)
    : catalog_(catalog),
      mustKeep_(std::move(mustKeep)),
      onHeldRemoved_(std::move(onHeldRemoved)),
      log_(log),
      surroundings_(surroundings) {}

Retention::~Retention() = default;

void Retention::apply(const ServeConfig& config) {
  auto limits = limitsByRoot(config);
  const std::scoped_lock lock(mutex_);
  for (const auto& [root, thread] : roots_) {
    // Nothing is removed from a root that is not configured any more.
    if (!limits.contains(root)) thread->setLimits({});
  }
  for (auto& [root, ofRoot] : limits) {
    auto& thread = roots_[root];
    if (!thread) thread = std::make_unique<RootThread>(root, *this);
    thread->setLimits(std::move(ofRoot));
  }
}

void Retention::makeRoom(const std::string& root) {
  const std::scoped_lock lock(mutex_);
  const auto found = roots_.find(root);
  if (found != roots_.end()) found->second->wake();
}

std::map<std::string, RootLimits> limitsByRoot(const ServeConfig& config) {
  std::map<std::string, RootLimits> limits;
  limits[config.root].all = config.keep;
  for (const StreamConfig& stream : config.streams) limits[stream.root].streams[stream.name] = stream.keep;
  // With less than kLeastRoom no stream would begin another recording, and nothing would be removed any more.
  const std::uint64_t keepFree = config.keepFree == 0 ? 0 : std::max(config.keepFree, kLeastRoom);
  for (auto& [root, ofRoot] : limits) ofRoot.keepFree = keepFree;
  return limits;
}

}  // namespace host::serve
