#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "server/Amf3Marker.h"
#include "shared_nqserver/NQDataArray.h"

namespace test {

/// Makes trees of script values, the same ones for the same seed.
class RandomValues {
 public:
  explicit RandomValues(std::uint32_t seed) : random_(seed) {}

  /// All that AMF0 tells apart, with subtrees of AMF3. Now and then an array or an AMF3 object that was there before:
  /// others would come back as arrays.
  NQDataValue amf0(int depth) {
    if (const auto* const known = again(known0_)) return *known;
    switch (upTo(depth > 0 ? 13 : 8)) {
      case 0:
        return NQDataValue::number(number());
      case 1:
        return NQDataValue::boolean(upTo(1) == 1);
      case 2:
        return NQDataValue::string(text());
      case 3:
        return NQDataValue::null();
      case 4:
        return {};
      case 5:
        return NQDataValue::date(number(), static_cast<std::int16_t>(upTo(0xFFFF) - 0x8000));
      case 6:
        return NQDataValue::xml(makeText(text()));
      case 7:
        return blob();
      case 8:
        return NQDataValue::int64(static_cast<std::int64_t>(bits()));
      case 9:
        return container(NQDataKind::kObjectType, named(depth, {}));
      case 10:
        return remembered(known0_, container(NQDataKind::kArrayType, named(depth, {})));
      case 11:
        return remembered(known0_, container(NQDataKind::kStrictArrayType, named(depth, {})));
      case 12:
        return container(NQDataKind::kTypedObjectType, named(depth, classMember()));
      default:
        return object(depth);
    }
  }

  /// All that AMF3 tells apart, and now and then what was there before.
  NQDataValue amf3(int depth) {
    if (const auto* const known = again(known3_)) return *known;
    switch (upTo(depth > 0 ? 12 : 7)) {
      case 0:
        return NQDataValue::number(number());
      case 1:
        return NQDataValue::number(std::trunc(number()));
      case 2:
        return NQDataValue::boolean(upTo(1) == 1);
      case 3:
        return NQDataValue::string(text());
      case 4:
        return upTo(1) == 1 ? NQDataValue::null() : NQDataValue();
      case 5:
        return NQDataValue::date(number());
      case 6:
        return xml();
      case 7:
        return blob();
      case 8:
        return array(depth);
      case 9:
        return object(depth);
      case 10:
        return vector(depth);
      case 11:
        return dictionary(depth);
      default:
        return object(depth);
    }
  }

  /// Of a kind that turns AMF0 to AMF3.
  NQDataValue object(int depth) {
    const auto members = NQDataArrayPtr::make();
    members->append(makeText("constructor"), NQDataValue::string(upTo(1) == 1 ? "" : text()));
    for (int i = upTo(4); i > 0; --i) members->append(makeText(text()), amf3(depth - 1));
    return marked(Amf3Marker::kObject, members);
  }

 private:
  using Member = std::pair<std::string, NQDataValue>;

  int upTo(int most) { return std::uniform_int_distribution(0, most)(random_); }
  std::uint64_t bits() { return std::uint64_t{random_()} << 32 | random_(); }

  /// Now and then any bits at all.
  double number() {
    constexpr std::array kCorners = {
        0.0,          -0.0,         1.0,   268435455.0, 268435456.0,
        -268435456.0, -268435457.0, 1e308, 0.5,         -std::numeric_limits<double>::infinity()};
    const int choice = upTo(static_cast<int>(kCorners.size()) + 4);
    if (std::cmp_less(choice, kCorners.size())) return kCorners[static_cast<std::size_t>(choice)];
    return choice % 2 == 0 ? std::bit_cast<double>(bits()) : upTo(100000);
  }

  /// Of a small alphabet, so that texts come back; also such as are not UTF-8.
  std::string text() {
    if (upTo(200) == 0) return std::string(65530 + static_cast<std::size_t>(upTo(5)), 'l');
    std::string text;
    for (int i = upTo(3); i > 0; --i) text += "ab0\xFF"[upTo(3)];
    return text;
  }

  NQDataValue blob() {
    const auto length = static_cast<std::uint32_t>(upTo(5));
    const auto memory = NQMemoryPtr::make(length + 1);
    for (std::uint32_t i = 0; i <= length; ++i) memory->data()[i] = static_cast<std::byte>(upTo(255));
    return NQDataValue::blob(memory, 1, length + 1);
  }

  NQDataValue xml() {
    auto value = NQDataValue::xml(makeText(text()));
    if (upTo(1) == 1) value.setSubKind(static_cast<std::uint8_t>(Amf3Marker::kXml));
    return value;
  }

  NQDataArrayPtr classMember() {
    const auto array = NQDataArrayPtr::make();
    array->append(makeText("constructor"), NQDataValue::string(text()));
    return array;
  }

  NQDataArrayPtr named(int depth, NQDataArrayPtr array) {
    if (!array) array = NQDataArrayPtr::make();
    for (int i = upTo(4); i > 0; --i) array->append(makeText(text()), amf0(depth - 1));
    return array;
  }

  /// Elements, and members, none of them without a name.
  NQDataValue array(int depth) {
    const auto array = NQDataArrayPtr::make();
    for (int i = 0, dense = upTo(3); i < dense; ++i) array->append(makeText(std::to_string(i)), amf3(depth - 1));
    for (int i = upTo(3); i > 0; --i) array->append(makeText("n" + text()), amf3(depth - 1));
    return remembered(known3_, container(NQDataKind::kArrayType, array));
  }

  NQDataValue vector(int depth) {
    const auto marker = static_cast<Amf3Marker>(static_cast<int>(Amf3Marker::kVectorInt) + upTo(3));
    const int count = upTo(3);
    const auto array = sized(count, "fixed");
    if (marker == Amf3Marker::kVectorObject) array->append(makeText("closure"), NQDataValue::string(text()));
    for (int i = 0; i < count; ++i) array->append(makeText("value"), element(marker, depth));
    return marked(marker, array);
  }

  NQDataValue element(Amf3Marker marker, int depth) {
    switch (marker) {
      case Amf3Marker::kVectorInt:
        return NQDataValue::number(static_cast<std::int32_t>(random_()));
      case Amf3Marker::kVectorUint:
        return NQDataValue::number(static_cast<std::uint32_t>(random_()));
      case Amf3Marker::kVectorDouble:
        return NQDataValue::number(number());
      default:
        return amf3(depth - 1);
    }
  }

  NQDataValue dictionary(int depth) {
    const int count = upTo(3);
    const auto array = sized(count, "weak");
    for (int i = 0; i < count; ++i) {
      array->append(makeText("key"), amf3(depth - 1));
      array->append(makeText("value"), amf3(depth - 1));
    }
    return marked(Amf3Marker::kDictionary, array);
  }

  NQDataArrayPtr sized(int count, const char* flag) {
    const auto array = NQDataArrayPtr::make();
    array->append(makeText("size"), NQDataValue::number(count));
    array->append(makeText(flag), NQDataValue::boolean(upTo(1) == 1));
    return array;
  }

  static NQDataValue container(NQDataKind kind, const NQDataArrayPtr& array) {
    return NQDataValue::container(kind, array);
  }

  NQDataValue marked(Amf3Marker marker, const NQDataArrayPtr& array) {
    auto value = container(NQDataKind::kAvmPlusObjectType, array);
    value.setSubKind(static_cast<std::uint8_t>(marker));
    return remembered(known0_, remembered(known3_, value));
  }

  static NQDataValue remembered(std::vector<NQDataValue>& known, NQDataValue value) {
    known.push_back(value);
    return value;
  }

  const NQDataValue* again(const std::vector<NQDataValue>& known) {
    if (known.empty() || upTo(7) != 0) return nullptr;
    return &known[static_cast<std::size_t>(upTo(static_cast<int>(known.size()) - 1))];
  }

  std::mt19937 random_;
  /// What may come again in either format.
  std::vector<NQDataValue> known0_;
  std::vector<NQDataValue> known3_;
};

}  // namespace test
