#include "server/ObjectTable.h"

#include <algorithm>
#include <utility>

ObjectTable::Opening::Opening(ObjectTable& table, const NQDataArrayPtr& array, Amf3Marker objectKind)
    : table_(table), index_(table.nextObjectIndex()) {
  table_.enter(NQDataValue::container(NQDataKind::kArrayType, array), objectKind);
  table_.entries_[index_].isOpen = true;
  ++table_.openCount_;
}

ObjectTable::Opening::~Opening() {
  table_.entries_[index_].isOpen = false;
  --table_.openCount_;
}

void ObjectTable::enter(NQDataValue value, Amf3Marker objectKind) {
  entries_.push_back({.value = std::move(value), .objectKind = objectKind});
}

std::optional<std::uint32_t> ObjectTable::find(const NQDataArray* array, std::optional<Amf3Marker> objectKind) const {
  const auto found = std::ranges::find_if(entries_, [&](const Entry& entry) {
    return entry.value.array() == array && entry.objectKind == objectKind.value_or(entry.objectKind);
  });
  if (found == entries_.end()) return std::nullopt;
  return static_cast<std::uint32_t>(found - entries_.begin());
}

NQDataValue referenceTo(const ObjectTable::Entry& entry, NQDataKind kind) {
  NQDataArray& array = *entry.value.array();
  return entry.isOpen ? NQDataValue::backReference(kind, array) : NQDataValue::container(kind, &array);
}
