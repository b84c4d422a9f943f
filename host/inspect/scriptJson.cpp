#include "host/inspect/scriptJson.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/Malformed.h"
#include "server/NQCommand.h"
#include "shared_nqserver/NQDataArray.h"
#include "util/NQThrowable.h"

namespace host {
namespace {

constexpr const char* kCut = "...";
constexpr std::size_t kMostJson = std::size_t{16} << 20;
/// Bytes of the document for each byte of the payload, and the least that a short payload gets.
constexpr std::size_t kBytesPerByte = 16;
constexpr std::size_t kLeastJson = std::size_t{16} << 10;

Json numberJson(double number) {
  // Up to here every integer is exact in a double, and prints as one.
  constexpr double kExactIntegers = 9007199254740992.0;  // 2^53
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number > 0 ? "Infinity" : "-Infinity";
  if (std::trunc(number) == number && std::abs(number) <= kExactIntegers) return static_cast<std::int64_t>(number);
  return number;
}

class Converter {
 public:
  /// The document takes about `most` bytes, indentation included.
  explicit Converter(std::size_t most) : bytes_(most) {}

  Json value(const NQDataValue& value) {
    // Values may share arrays and texts: without a limit a short payload becomes an endless document.
    constexpr std::size_t kIndentation = 4;
    if (values_ == 0 || !take(sizeof(Json) + kIndentation * open_.size())) values_ = 0;
    if (values_ == 0) return kCut;
    --values_;
    switch (value.kind()) {
      case NQDataKind::kNumberType:
        return numberJson(value.toDouble());
      case NQDataKind::kInt64Type:
        return value.toInt64();
      case NQDataKind::kBoolType:
        return value.isTrue();
      case NQDataKind::kStringType:
      case NQDataKind::kXMLType:
        return text(value.toString().view());
      case NQDataKind::kDateType:
        return {{"milliseconds", numberJson(value.milliseconds())}, {"zone", value.zone()}};
      case NQDataKind::kBlobType:
        return {{"bytes", take(2 * value.blob().size()) ? hexText(value.blob()) : kCut}};
      default:
        return value.array() != nullptr ? container(*value.array(), value.kind()) : Json();
    }
  }

 private:
  /// Takes from the room of the document; false if it is used up.
  bool take(std::size_t bytes) {
    if (bytes > bytes_) return false;
    bytes_ -= bytes;
    return true;
  }

  std::string text(std::string_view text) { return take(text.size()) ? std::string(text) : kCut; }

  Json container(const NQDataArray& array, NQDataKind kind) {
    if (open_.size() == NQDataArray::kMaxNesting || std::ranges::find(open_, &array) != open_.end()) return kCut;
    open_.push_back(&array);
    Json members = isList(array, kind) ? list(array) : object(array);
    open_.pop_back();
    return members;
  }

  /// Elements of a strict array have no names, or their numbers as names.
  static bool isList(const NQDataArray& array, NQDataKind kind) {
    for (std::size_t i = 0; i < array.size(); ++i) {
      if (!array.isNamedByIndex(i) && !array.name(i).empty()) return false;
    }
    return array.size() != 0 || kind == NQDataKind::kArrayType || kind == NQDataKind::kStrictArrayType;
  }

  Json list(const NQDataArray& array) {
    Json items = Json::array();
    for (std::size_t i = 0; i < array.size() && values_ != 0; ++i) items.push_back(value(array.value(i)));
    return items;
  }

  Json object(const NQDataArray& array) {
    Json members = Json::object();
    // Appends without looking the name up: that takes too long for a large object, and would merge equal names.
    Json::object_t::Container& list = members.get_ref<Json::object_t&>();
    for (std::size_t i = 0; i < array.size() && values_ != 0; ++i) {
      if (!take(sizeof(std::string))) values_ = 0;
      list.emplace_back(text(array.name(i)), value(array.value(i)));
    }
    return members;
  }

  std::size_t values_ = 100000;
  std::size_t bytes_;
  /// The arrays around the next value, the outermost first.
  std::vector<const NQDataArray*> open_;
};

}  // namespace

Json scriptJson(const NQDataValue& value) {
  return Converter(kMostJson).value(value);
}

Json describeScript(std::span<const std::byte> payload, qvs::MessageKind kind) try {
  const NQCommand command(kind, payload, true);
  if (command.name().kind() != NQDataKind::kStringType) throw Malformed(0, "a text expected");
  Json values = Json::array();
  Converter converter(std::clamp(payload.size() * kBytesPerByte, kLeastJson, kMostJson));
  for (std::size_t i = 0; i < command.argumentCount(); ++i) values.push_back(converter.value(command.argument(i)));
  return {{"name", std::string(command.nameText())}, {"values", std::move(values)}};
} catch (const NQBreakConnection&) {
  throw Malformed(0, "malformed script data");
}

}  // namespace host
