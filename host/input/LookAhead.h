#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/input/Input.h"

namespace host {

/// An input whose first messages can be looked at before they are taken.
class LookAhead final : public Input {
 public:
  /// So far and no further.
  static constexpr std::size_t kMostMessages = 1000;

  explicit LookAhead(std::unique_ptr<Input> source) : source_(std::move(source)) {}

  /// The time of the first message that `wanted` accepts; nothing where there is none among the first. Asks for each
  /// message once. Throws InputError as next() does.
  std::optional<std::uint32_t> timeOfFirst(const std::function<bool(const InputMessage&)>& wanted);
  bool isVerbatim() const override { return source_->isVerbatim(); }
  std::optional<InputMessage> next() override;

 private:
  struct Kept {
    InputMessage message;
    std::vector<std::byte> data;
  };

  std::unique_ptr<Input> source_;
  std::deque<Kept> ahead_;
  Kept current_;
};

}  // namespace host
