#include "packaging/MTGScriptDecoder.h"

#include <utility>

#include "server/ScriptReader.h"

namespace ruvo::k2rpkgutil {
namespace {

/// Shares the texts and arrays of the reader instead of copying them, so that all memory has been counted against the
/// reader's limit. Members are made one at a time for the same reason: an array in a small tag may have millions.
class NamedValue final : public mtg::ScriptValue {
 public:
  NamedValue(NQTextPtr name, NQDataValue value) : name_(std::move(name)), value_(std::move(value)) {}

  std::string_view name() const override { return stringOf(name_.get()).view(); }
  std::optional<double> number() const override {
    return isNumber(value_.kind()) ? std::optional(value_.toDouble()) : std::nullopt;
  }
  std::unique_ptr<mtg::ScriptValue> member(std::size_t index) const override {
    if (!isDescription(value_.kind()) || index >= value_.array()->size()) return nullptr;
    return std::make_unique<NamedValue>(value_.array()->nameText(index), value_.array()->value(index));
  }

 private:
  NQTextPtr name_;
  NQDataValue value_;
};

}  // namespace

std::unique_ptr<mtg::ScriptValue> MTGScriptDecoder::read(std::span<const std::byte> data) {
  ScriptReader in(data);
  NQDataValue name, value;
  try {
    in.readValue(name);
    if (in.remaining() > 0) in.readValue(value);
  } catch (const NQBreakConnection&) {
    // Not an error: what was read before the fault is returned, since picture sizes often come first.
  }
  return std::make_unique<NamedValue>(name.text(), std::move(value));
}

}  // namespace ruvo::k2rpkgutil
