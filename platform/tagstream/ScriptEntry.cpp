#include "platform/tagstream/ScriptEntry.h"

#include <cstdint>
#include <span>
#include <utility>

#include "util/bytes.h"
#include "util/scriptValue.h"

namespace krvo::tagstream {

using qvs::util::ByteReader;
using qvs::util::MalformedInput;
using qvs::util::ScriptMarker;

namespace {

ByteReader readerAt(const std::vector<std::byte>& data, std::size_t place) {
  return ByteReader(std::span(data).subspan(place));
}

ScriptMarker readMarker(ByteReader& in) {
  return static_cast<ScriptMarker>(in.u8());
}

/// A length of 16 bits and so many bytes.
std::string readName(ByteReader& in) {
  const auto name = in.bytes(in.u16());
  return {reinterpret_cast<const char*>(name.data()), name.size()};
}

}  // namespace

ScriptEntry::ScriptEntry(std::vector<std::byte> data)
    : data_(std::make_shared<const std::vector<std::byte>>(std::move(data))), value_(data_->size()) {
  try {
    ByteReader in(*data_);
    if (readMarker(in) != ScriptMarker::kText) return;
    name_ = readName(in);
    value_ = in.position();
  } catch (const MalformedInput&) {
    // No name, no value.
  }
}

std::optional<double> ScriptEntry::number() const {
  constexpr std::size_t kNumberSize = 1 + sizeof(double);
  if (data_->size() - value_ < kNumberSize) return std::nullopt;
  ByteReader in = readerAt(*data_, value_);
  if (readMarker(in) != ScriptMarker::kNumber) return std::nullopt;
  return in.f64();
}

ScriptMembers::ScriptMembers(const ScriptEntry& owner) : data_(owner.data_), place_(data_->size()) {
  constexpr std::size_t kMarker = 1;
  constexpr std::size_t kCount = 4;
  if (owner.value_ == data_->size()) return;
  ByteReader in = readerAt(*data_, owner.value_);
  const ScriptMarker marker = readMarker(in);
  if (marker == ScriptMarker::kObject) place_ = owner.value_ + kMarker;
  if (marker == ScriptMarker::kNamedArray && in.remaining() >= kCount) place_ = owner.value_ + kMarker + kCount;
}

std::optional<ScriptEntry> ScriptMembers::next() {
  try {
    ByteReader in = readerAt(*data_, place_);
    ScriptEntry entry;
    entry.data_ = data_;
    entry.name_ = readName(in);
    entry.value_ = place_ + in.position();
    if (entry.name_.empty()) {
      place_ = data_->size();
      return std::nullopt;
    }
    qvs::util::skipScriptValue(in);
    place_ += in.position();
    return entry;
  } catch (const MalformedInput&) {
    place_ = data_->size();
    return std::nullopt;
  }
}

}  // namespace krvo::tagstream
