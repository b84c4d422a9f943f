#include "platform/container/OwnedData.h"

namespace krvo::container {

OwnedData::OwnedData(const KrvoK2MDataBuffer* record) {
  if (record == nullptr || record->size != sizeof(KrvoK2MDataBuffer)) return;
  data_ = static_cast<const std::byte*>(record->data);
  context_ = record->context;
  free_ = record->free;
  valid_ = true;
}

void OwnedData::swap(OwnedData& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(context_, other.context_);
  std::swap(free_, other.free_);
  std::swap(valid_, other.valid_);
}

}  // namespace krvo::container
