#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/input/Input.h"

namespace host {

/// An input made of another one, which it owns. All operations but next() are those of the other one, unless a derived
/// class has its own.
class InputFilter : public Input {
 public:
  void continueAt(std::uint32_t timeMs) override { source_->continueAt(timeMs); }
  bool isVerbatim() const override { return source_->isVerbatim(); }
  std::optional<std::uint32_t> keptStart() override { return source_->keptStart(); }
  std::vector<std::byte> metadata() const override { return source_->metadata(); }
  std::optional<bool> hasVideo() const override { return source_->hasVideo(); }
  bool isLive() const override { return source_->isLive(); }
  std::uint32_t newClocks() const override { return source_->newClocks(); }

 protected:
  /// `source` is not null.
  explicit InputFilter(std::unique_ptr<Input> source) : source_(std::move(source)) {}
  Input& source() const { return *source_; }

 private:
  std::unique_ptr<Input> source_;
};

}  // namespace host
