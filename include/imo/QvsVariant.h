#pragma once

#include <cstdint>

#include "imo/export.h"

/// A tagged value between host and module, one of the plain types, a text or a buffer. A setter replaces type and
/// value; there is no conversion between types. Strings and buffers are borrowed: their bytes stay the caller's and
/// outlive the variant, and a copy of the variant refers to the same bytes. Has no lock: one thread at a time.
class IMO_API QvsVariant {
 public:
  enum Tag : std::uint32_t { kU8, kU16, kU32, kI8, kI16, kI32, kI64, kFloat, kDouble, kString, kBuffer };

  void setU8(std::uint8_t value) { set(kU8).u8 = value; }
  void setU16(std::uint16_t value) { set(kU16).u16 = value; }
  void setU32(std::uint32_t value) { set(kU32).u32 = value; }
  void setI8(std::int8_t value) { set(kI8).i8 = value; }
  void setI16(std::int16_t value) { set(kI16).i16 = value; }
  void setI32(std::int32_t value) { set(kI32).i32 = value; }
  void setI64(std::int64_t value) { set(kI64).i64 = value; }
  void setFloat(float value) { set(kFloat).f32 = value; }
  void setDouble(double value) { set(kDouble).f64 = value; }
  /// A zero-terminated text.
  void setString(const char* value) { set(kString).string = value; }
  /// `length` bytes, of any content.
  void setBuffer(const void* value, std::uint32_t length) {
    set(kBuffer).buffer = value;
    length_ = length;
  }

  /// All values share one place.
  union Value {
    std::uint8_t u8;
    std::uint16_t u16;
    std::uint32_t u32;
    std::int8_t i8;
    std::int16_t i16;
    std::int32_t i32;
    std::int64_t i64;
    float f32;
    double f64;
    const char* string;
    const void* buffer;
  };

  /// The type of the last setter; before the first one kU8, with the value 0.
  Tag tag() const { return tag_; }
  /// Only the member that tag() names may be read.
  const Value& value() const { return value_; }
  /// Size in bytes of value().buffer; 0 for every other tag.
  std::uint32_t bufferLength() const { return length_; }

 private:
  Value& set(Tag tag) {
    tag_ = tag;
    value_.i64 = 0;
    length_ = 0;
    return value_;
  }

  Tag tag_ = kU8;
  Value value_ = {.i64 = 0};
  std::uint32_t length_ = 0;
};
