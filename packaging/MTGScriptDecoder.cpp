#include "packaging/MTGScriptDecoder.h"

#include <utility>

#include "server/ScriptReader.h"

namespace ruvo::k2rpkgutil {
namespace {

/// Shares the texts and arrays that the reader has made, so that it takes no memory that the reader has not counted.
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
    // What is in front of the fault is told.
  }
  return std::make_unique<NamedValue>(name.text(), std::move(value));
}

}  // namespace ruvo::k2rpkgutil
