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

Json numberJson(double number) {
  constexpr double kExactIntegers = 9007199254740992.0;  // 2^53
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number > 0 ? "Infinity" : "-Infinity";
  if (std::trunc(number) == number && std::abs(number) <= kExactIntegers) return static_cast<std::int64_t>(number);
  return number;
}

class Converter {
 public:
  Json value(const NQDataValue& value) {
    // Values may share arrays, so that a short payload stands for a document without end.
    if (left_ == 0) return kCut;
    --left_;
    switch (value.kind()) {
      case NQDataKind::kNumberType:
        return numberJson(value.toDouble());
      case NQDataKind::kInt64Type:
        return value.toInt64();
      case NQDataKind::kBoolType:
        return value.isTrue();
      case NQDataKind::kStringType:
      case NQDataKind::kXMLType:
        return std::string(value.toString().view());
      case NQDataKind::kDateType:
        return {{"milliseconds", numberJson(value.milliseconds())}, {"zone", value.zone()}};
      case NQDataKind::kBlobType:
        return {{"bytes", hexText(value.blob())}};
      default:
        return value.array() != nullptr ? container(*value.array(), value.kind()) : Json();
    }
  }

 private:
  Json container(const NQDataArray& array, NQDataKind kind) {
    if (open_.size() == NQDataArray::kMaxNesting || std::ranges::find(open_, &array) != open_.end()) return kCut;
    open_.push_back(&array);
    Json members = isList(array, kind) ? list(array) : object(array);
    open_.pop_back();
    return members;
  }

  /// The elements of a strict array have no names, or their numbers for names.
  static bool isList(const NQDataArray& array, NQDataKind kind) {
    for (std::size_t i = 0; i < array.size(); ++i) {
      const std::string_view name = array.name(i).view();
      if (!name.empty() && name != std::to_string(i)) return false;
    }
    return array.size() != 0 || kind == NQDataKind::kArrayType || kind == NQDataKind::kStrictArrayType;
  }

  Json list(const NQDataArray& array) {
    Json items = Json::array();
    for (std::size_t i = 0; i < array.size() && left_ != 0; ++i) items.push_back(value(array.value(i)));
    return items;
  }

  Json object(const NQDataArray& array) {
    Json members = Json::object();
    // Straight to the list of members: looking each name up first takes too long for the largest of objects.
    Json::object_t::Container& list = members.get_ref<Json::object_t&>();
    for (std::size_t i = 0; i < array.size() && left_ != 0; ++i)
      list.emplace_back(std::string(array.name(i).view()), value(array.value(i)));
    return members;
  }

  std::size_t left_ = 100000;
  /// The arrays that the next value lies in.
  std::vector<const NQDataArray*> open_;
};

}  // namespace

Json scriptJson(const NQDataValue& value) {
  return Converter().value(value);
}

Json describeScript(std::span<const std::byte> payload, qvs::MessageKind kind) try {
  const NQCommand command(kind, payload, true);
  if (command.name().kind() != NQDataKind::kStringType) throw Malformed(0, "a text expected");
  Json values = Json::array();
  for (std::size_t i = 0; i < command.argumentCount(); ++i) values.push_back(scriptJson(command.argument(i)));
  return {{"name", std::string(command.nameText())}, {"values", std::move(values)}};
} catch (const NQBreakConnection&) {
  throw Malformed(0, "malformed script data");
}

}  // namespace host
