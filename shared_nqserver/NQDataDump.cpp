#include "shared_nqserver/NQDataDump.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "shared_nqserver/NQDataArray.h"

namespace {

/// Bytes. A payload of some bytes can name one text or array a million times, so the dump has no bound of its own.
constexpr std::size_t kMaxText = 1U << 20;
constexpr std::string_view kCut = " ...";

class Dump {
 public:
  explicit Dump(std::string& out) : out_(out), end_(out.size() + kMaxText) {}

  void value(const NQDataValue& value) {
    label(value.kind());
    switch (value.kind()) {
      case NQDataKind::kNumberType:
        // 32 bits, unlike the 64-bit integers below: the form of the text is fixed.
        out_.append(" ").append(std::to_string(static_cast<std::int32_t>(value.toInt64())));
        break;
      case NQDataKind::kInt64Type:
        out_.append(" ").append(std::to_string(value.toInt64()));
        break;
      case NQDataKind::kBoolType:
        out_.append(value.isTrue() ? " true" : " false");
        break;
      case NQDataKind::kStringType:
        out_.append(" \"").append(value.toString().view()).append("\"");
        break;
      default:
        if (const NQDataArray* const array = value.array()) members(*array);
    }
  }

 private:
  void label(NQDataKind kind) {
    const std::string_view name = nameOf(kind);
    out_ += ' ';
    if (name.empty())
      out_.append("dataType=").append(std::to_string(static_cast<unsigned>(kind)));
    else
      out_.append(name);
  }

  void members(const NQDataArray& array) {
    out_ += " (";
    // Only the arrays around this one are searched: an array that appears twice side by side is no cycle.
    if (open_.size() == NQDataArray::kMaxNesting || std::ranges::find(open_, &array) != open_.end()) {
      out_ += kCut;
    } else {
      open_.push_back(&array);
      for (std::size_t i = 0; i < array.size() && member(array, i); ++i) continue;
      open_.pop_back();
    }
    out_ += " )";
  }

  /// Appends one member; false once the text is long enough, which ends every loop around it.
  bool member(const NQDataArray& array, std::size_t index) {
    if (index != 0) out_ += ',';
    const bool isFull = out_.size() >= end_;
    if (isFull) {
      out_ += kCut;
    } else {
      out_.append(" ").append(array.name(index)).append("=");
      value(array.value(index));
    }
    return !isFull;
  }

  std::string& out_;
  std::size_t end_;
  /// The arrays around the next value, the innermost last.
  std::vector<const NQDataArray*> open_;
};

}  // namespace

void dumpValue(std::string& out, const NQDataValue& value) {
  Dump(out).value(value);
}
