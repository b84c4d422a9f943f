#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "shared_nqserver/NQDataKind.h"
#include "shared_nqserver/NQText.h"
#include "util/NQMemory.h"

class NQDataArray;
using NQDataArrayPtr = NQPtr<NQDataArray>;

/// One script value of AMF0 or AMF3: a kind, and what goes with it. Copies share texts, arrays and blobs. Belongs to
/// one thread at a time, together with all values that share something with it.
class NQDataValue {
 public:
  /// Undefined.
  NQDataValue() = default;
  NQDataValue(const NQDataValue& other);
  NQDataValue(NQDataValue&& other) noexcept { swap(other); }
  NQDataValue& operator=(NQDataValue other) noexcept;
  ~NQDataValue() { release(); }

  static NQDataValue number(double value);
  static NQDataValue boolean(bool value);
  static NQDataValue string(const NQTextPtr& text);
  static NQDataValue string(std::string_view text) { return string(makeText(text)); }
  static NQDataValue xml(const NQTextPtr& text);
  static NQDataValue null();
  /// `zone` as AMF0 carries it, in minutes.
  static NQDataValue date(double milliseconds, std::int16_t zone = 0);
  static NQDataValue int64(std::int64_t value);
  /// The bytes of `memory` from `start` to `end`, which do not lie beyond its capacity.
  static NQDataValue blob(const NQMemoryPtr& memory, std::uint32_t start, std::uint32_t end);
  /// Of a container kind, over an array that is not null. An array is never put into itself this way, on however many
  /// steps, or it would not end.
  static NQDataValue container(NQDataKind kind, const NQDataArrayPtr& array);
  /// The same for an array that holds the value itself. Keeps the array but not its members: once no other value
  /// holds it, it is empty.
  static NQDataValue backReference(NQDataKind kind, NQDataArray& array);
  /// Of a kind that has nothing beside it: null, undefined, object end, unsupported.
  static NQDataValue bare(NQDataKind kind);

  NQDataKind kind() const { return kind_; }
  /// The AMF3 marker, where the kind alone does not tell it; else 6.
  std::uint8_t subKind() const { return subKind_; }
  void setSubKind(std::uint8_t marker) { subKind_ = marker; }

  // Conversions, which answer for any kind.

  /// A number, a boolean, a string as far as it is one, the seconds of a date, a 64-bit integer; else 0.
  double toDouble() const;
  /// The same without dates, truncated. Beyond the range the nearest value; 0 for not-a-number.
  std::int64_t toInt64() const;
  /// Of a string or XML; else empty. Valid while the value holds it.
  const NQNarrowString& toString() const;

  // What goes with a kind, and nothing for other kinds.

  bool isTrue() const { return kind_ == NQDataKind::kBoolType && payload_.boolean; }
  /// Of a string or XML, to be shared.
  NQTextPtr text() const { return heldText(); }
  /// Of a container, never null then. A view: the value holds it.
  NQDataArray* array() const;
  double milliseconds() const { return kind_ == NQDataKind::kDateType ? payload_.number : 0; }
  std::int16_t zone() const;
  /// A view: the value holds the bytes.
  std::span<const std::byte> blob() const;

  /// Back to undefined.
  void clear() { *this = NQDataValue(); }
  void swap(NQDataValue& other) noexcept;

 private:
  /// What `payload_.object` is counted as.
  enum class Holding : std::uint8_t { kNothing, kObject, kBackReference };

  union Payload {
    std::int64_t integer = 0;
    double number;
    bool boolean;
    NQObject* object;
  };

  /// A date's zone, or where a blob starts and ends.
  struct Extra {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
  };

  NQDataValue(NQDataKind kind, NQObject* object);
  NQText* heldText() const;
  void hold() const;
  void release() noexcept;

  NQDataKind kind_ = NQDataKind::kUndefinedType;
  std::uint8_t subKind_ = 6;
  Holding holding_ = Holding::kNothing;
  Payload payload_;
  Extra extra_;
};

static_assert(sizeof(NQDataValue) == 24);
