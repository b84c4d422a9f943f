#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "shared_nqserver/NQDataKind.h"
#include "shared_nqserver/NQText.h"
#include "util/NQMemory.h"

class NQDataArray;
using NQDataArrayPtr = NQPtr<NQDataArray>;

/// One script value of AMF0 or AMF3: a kind, and the content of that kind, in 24 bytes. A copy shares texts, arrays and
/// blobs with the original: a change of an array shows in all of its values. Belongs to one thread at a time, together
/// with all values that share something with it.
class NQDataValue {
 public:
  /// The undefined value, as after a move.
  NQDataValue() = default;
  NQDataValue(const NQDataValue& other);
  NQDataValue(NQDataValue&& other) noexcept { swap(other); }
  NQDataValue& operator=(NQDataValue other) noexcept;
  ~NQDataValue() { release(); }

  /// Any double, not-a-number included.
  static NQDataValue number(double value);
  static NQDataValue boolean(bool value);
  static NQDataValue string(const NQTextPtr& text);
  static NQDataValue string(std::string_view text) { return string(makeText(text)); }
  /// A null text is the empty one, here and in string().
  static NQDataValue xml(const NQTextPtr& text);
  static NQDataValue null();
  /// `milliseconds` since 1970-01-01 UTC; `zone` in minutes as AMF0 carries it; AMF3 has none.
  static NQDataValue date(double milliseconds, std::int16_t zone = 0);
  static NQDataValue int64(std::int64_t value);
  /// The bytes of `memory` from `start` to `end`. A range beyond the capacity is a diagnostic and gives no bytes. The
  /// block is shared, so it must not be changed or resized afterwards.
  static NQDataValue blob(const NQMemoryPtr& memory, std::uint32_t start, std::uint32_t end);
  /// Of a container kind, with an array that is not null. An array must never be put into itself this way, directly or
  /// through others: counted references in a cycle are never freed.
  static NQDataValue container(NQDataKind kind, const NQDataArrayPtr& array);
  /// The same for a value that goes into `array` itself, directly or through others. It keeps the array but not its
  /// members: without any other reference the array is empty.
  static NQDataValue backReference(NQDataKind kind, NQDataArray& array);
  /// Of a kind without content: null, undefined, object end, unsupported.
  static NQDataValue bare(NQDataKind kind);

  NQDataKind kind() const { return kind_; }
  /// The AMF3 marker if the kind alone does not determine it: integer or double, XML or XML document, object, vector or
  /// dictionary. Otherwise 6. It decides the form in which the value is written.
  std::uint8_t subKind() const { return subKind_; }
  void setSubKind(std::uint8_t marker) { subKind_ = marker; }

  // Conversions, which have a result for every kind and fail for none.

  /// Of a number, boolean (0 or 1) or 64-bit integer the value, of a string the number at its front in the locale of
  /// the process, of a date seconds; otherwise 0.
  double toDouble() const;
  /// The same truncated toward zero, but 0 for dates. A value beyond 64 bits becomes the nearest, not-a-number 0.
  std::int64_t toInt64() const;
  /// The text of a string or XML; otherwise empty. A view, valid as long as the value is neither changed nor destroyed.
  const NQNarrowString& toString() const;

  // The content of a kind; 0, null, false or empty for all other kinds.

  bool isTrue() const { return kind_ == NQDataKind::kBoolType && payload_.boolean; }
  /// The text of a string or XML, to be shared; null if it is empty.
  NQTextPtr text() const { return heldText(); }
  /// Of a container, for which it is never null. A view; the value keeps the array.
  NQDataArray* array() const;
  /// Of a date.
  double milliseconds() const { return kind_ == NQDataKind::kDateType ? payload_.number : 0; }
  /// Of a date, in minutes.
  std::int16_t zone() const;
  /// A view; the value keeps the bytes.
  std::span<const std::byte> blob() const;

  /// Back to undefined.
  void clear() { *this = NQDataValue(); }
  void swap(NQDataValue& other) noexcept;

 private:
  /// How `payload_.object` is counted, if at all.
  enum class Holding : std::uint8_t { kNothing, kObject, kBackReference };

  /// Which member is valid follows from the kind; `object` is a text, an array or a block.
  union Payload {
    std::int64_t integer = 0;
    double number;
    bool boolean;
    NQObject* object;
  };

  /// The zone of a date, or start and end of a blob.
  struct Extra {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
  };

  NQDataValue(NQDataKind kind, NQObject* object);
  /// Null for every kind without a text.
  NQText* heldText() const;
  /// Adds the reference that a copy needs, of the kind that `holding_` says.
  void hold() const;
  void release() noexcept;

  NQDataKind kind_ = NQDataKind::kUndefinedType;
  std::uint8_t subKind_ = 6;
  Holding holding_ = Holding::kNothing;
  Payload payload_;
  Extra extra_;
};

// ReadAllowance and NQDataArray::costOf count with this size: a byte of payload can become one value.
static_assert(sizeof(NQDataValue) == 24);
