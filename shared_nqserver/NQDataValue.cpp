#include "shared_nqserver/NQDataValue.h"

#include <utility>

#include "shared_nqserver/NQDataArray.h"
#include "util/diagnostics.h"
#include "util/truncation.h"

namespace {

/// The XML of AMF0 is the one that AMF3 calls a document; AMF3 has a second one.
constexpr std::uint8_t kXmlDocumentMarker = 7;

}  // namespace

NQDataValue::NQDataValue(NQDataKind kind, NQObject* object)
    : kind_(kind), holding_(object != nullptr ? Holding::kObject : Holding::kNothing) {
  payload_.object = object;
  hold();
}

NQDataValue::NQDataValue(const NQDataValue& other)
    : kind_(other.kind_),
      subKind_(other.subKind_),
      holding_(other.holding_),
      payload_(other.payload_),
      extra_(other.extra_) {
  hold();
}

// By value and swap: `other` may be a member of the array that this value keeps alive, which goes last.
NQDataValue& NQDataValue::operator=(NQDataValue other) noexcept {
  swap(other);
  return *this;
}

NQDataValue NQDataValue::number(double value) {
  NQDataValue result = bare(NQDataKind::kNumberType);
  result.payload_.number = value;
  return result;
}

NQDataValue NQDataValue::boolean(bool value) {
  NQDataValue result = bare(NQDataKind::kBoolType);
  result.payload_.boolean = value;
  return result;
}

NQDataValue NQDataValue::string(const NQTextPtr& text) {
  return {NQDataKind::kStringType, text.get()};
}

NQDataValue NQDataValue::xml(const NQTextPtr& text) {
  NQDataValue result{NQDataKind::kXMLType, text.get()};
  result.setSubKind(kXmlDocumentMarker);
  return result;
}

NQDataValue NQDataValue::null() {
  return bare(NQDataKind::kNullType);
}

NQDataValue NQDataValue::date(double milliseconds, std::int16_t zone) {
  NQDataValue result = bare(NQDataKind::kDateType);
  result.payload_.number = milliseconds;
  result.extra_.first = static_cast<std::uint16_t>(zone);
  return result;
}

NQDataValue NQDataValue::int64(std::int64_t value) {
  NQDataValue result = bare(NQDataKind::kInt64Type);
  result.payload_.integer = value;
  return result;
}

NQDataValue NQDataValue::blob(const NQMemoryPtr& memory, std::uint32_t start, std::uint32_t end) {
  const bool isInside = memory && start <= end && end <= memory->capacity();
  qvs::util::diagnose(isInside);
  NQDataValue result{NQDataKind::kBlobType, memory.get()};
  if (isInside) result.extra_ = {start, end};
  return result;
}

NQDataValue NQDataValue::container(NQDataKind kind, const NQDataArrayPtr& array) {
  qvs::util::diagnose(isContainer(kind) && array);
  return {kind, array.get()};
}

NQDataValue NQDataValue::backReference(NQDataKind kind, NQDataArray& array) {
  qvs::util::diagnose(isContainer(kind));
  NQDataValue result = bare(kind);
  result.holding_ = Holding::kBackReference;
  result.payload_.object = &array;
  result.hold();
  return result;
}

NQDataValue NQDataValue::bare(NQDataKind kind) {
  NQDataValue result;
  result.kind_ = kind;
  return result;
}

double NQDataValue::toDouble() const {
  switch (kind_) {
    case NQDataKind::kNumberType:
      return payload_.number;
    case NQDataKind::kBoolType:
      return payload_.boolean ? 1.0 : 0.0;
    case NQDataKind::kStringType:
      // 0 for a text that is no number: metadata has numbers as text, and nothing here may refuse it.
      return std::atof(toString().c_str());
    case NQDataKind::kDateType:
      return payload_.number / 1000.0;
    case NQDataKind::kInt64Type:
      return static_cast<double>(payload_.integer);
    default:
      return 0.0;
  }
}

std::int64_t NQDataValue::toInt64() const {
  switch (kind_) {
    case NQDataKind::kNumberType:
    case NQDataKind::kBoolType:
    case NQDataKind::kStringType:
      return qvs::util::truncateToInt64(toDouble());
    case NQDataKind::kInt64Type:
      // Not by way of a double, which has 53 bits.
      return payload_.integer;
    default:
      return 0;
  }
}

const NQNarrowString& NQDataValue::toString() const {
  return stringOf(heldText());
}

NQText* NQDataValue::heldText() const {
  // The kind decides what the object is: there is no other type information.
  const bool isText = kind_ == NQDataKind::kStringType || kind_ == NQDataKind::kXMLType;
  return isText && holding_ == Holding::kObject ? static_cast<NQText*>(payload_.object) : nullptr;
}

NQDataArray* NQDataValue::array() const {
  return isContainer(kind_) && holding_ != Holding::kNothing ? static_cast<NQDataArray*>(payload_.object) : nullptr;
}

std::int16_t NQDataValue::zone() const {
  return kind_ == NQDataKind::kDateType ? static_cast<std::int16_t>(extra_.first) : std::int16_t{0};
}

std::span<const std::byte> NQDataValue::blob() const {
  if (kind_ != NQDataKind::kBlobType || holding_ != Holding::kObject) return {};
  const std::byte* const bytes = static_cast<const NQMemory*>(payload_.object)->data();
  return {bytes + extra_.first, extra_.second - extra_.first};
}

void NQDataValue::swap(NQDataValue& other) noexcept {
  std::swap(kind_, other.kind_);
  std::swap(subKind_, other.subKind_);
  std::swap(holding_, other.holding_);
  std::swap(payload_, other.payload_);
  std::swap(extra_, other.extra_);
}

void NQDataValue::hold() const {
  if (holding_ == Holding::kObject) payload_.object->addRef();
  if (holding_ == Holding::kBackReference) static_cast<NQDataArray*>(payload_.object)->holdShell();
}

// As hold() does: releasing a back reference like a counted one would free members that others use.
void NQDataValue::release() noexcept {
  if (holding_ == Holding::kObject) payload_.object->release();
  if (holding_ == Holding::kBackReference) static_cast<NQDataArray*>(payload_.object)->releaseShell();
}
