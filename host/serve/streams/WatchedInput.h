#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/input/Input.h"
#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

/// An input that keeps StreamStatus informed whether the stream's thread waits for the source or works on what came.
/// Belongs to one thread.
class WatchedInput final : public Input {
 public:
  /// `input` is not null; `status` outlives the object.
  WatchedInput(std::unique_ptr<Input> input, StreamStatus& status) : input_(std::move(input)), status_(status) {}
  ~WatchedInput() override { status_.setWorking(false); }

  void continueAt(std::uint32_t timeMs) override { input_->continueAt(timeMs); }
  bool isVerbatim() const override { return input_->isVerbatim(); }
  std::optional<std::uint32_t> keptStart() override { return input_->keptStart(); }
  std::vector<std::byte> metadata() const override { return input_->metadata(); }
  std::optional<bool> hasVideo() const override { return input_->hasVideo(); }
  bool isLive() const override { return input_->isLive(); }
  std::uint32_t newClocks() const override { return input_->newClocks(); }
  std::optional<InputMessage> next() override {
    const Waiting waiting(status_);
    return input_->next();
  }

 private:
  /// The thread works on after an exception, too: what came before it is still to be stored.
  class Waiting {
   public:
    explicit Waiting(StreamStatus& status) : status_(status) { status_.setWorking(false); }
    ~Waiting() { status_.setWorking(true); }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

   private:
    StreamStatus& status_;
  };

  std::unique_ptr<Input> input_;
  StreamStatus& status_;
};

}  // namespace host::serve
