#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "host/input/InputFilter.h"
#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

/// An input that keeps StreamStatus informed whether the stream's thread waits for the source or works on what it gave.
/// Belongs to one thread.
class WatchedInput final : public InputFilter {
 public:
  /// `input` is not null; `status` outlives the object.
  WatchedInput(std::unique_ptr<Input> input, StreamStatus& status) : InputFilter(std::move(input)), status_(status) {}
  ~WatchedInput() override { status_.setWorking(false); }

  std::optional<InputMessage> next() override {
    const Waiting waiting(status_);
    return source().next();
  }

 private:
  /// After an exception the thread still works: it has to store what came before.
  class Waiting {
   public:
    explicit Waiting(StreamStatus& status) : status_(status) { status_.setWorking(false); }
    ~Waiting() { status_.setWorking(true); }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

   private:
    StreamStatus& status_;
  };

  StreamStatus& status_;
};

}  // namespace host::serve
