#pragma once

#include <cstddef>
#include <utility>

#include "platform/container/krvo_k2m.h"

namespace krvo::container {

/// Bytes that a caller handed over. They are given back once, by the caller's own free function, when this is
/// destroyed. The entries make one before they check anything else, so that a call that fails gives the bytes back,
/// too. The length is not part of the record; each entry gets it as another parameter. Can be moved, not copied.
class OwnedData {
 public:
  OwnedData() = default;
  /// Takes over the bytes of `record`. A null pointer, or a record of the wrong size, has no free function that could
  /// be trusted; the result is then not valid() and gives nothing back.
  explicit OwnedData(const KrvoK2MDataBuffer* record) {
    if (record == nullptr || record->size != sizeof(KrvoK2MDataBuffer)) return;
    data_ = static_cast<const std::byte*>(record->data);
    context_ = record->context;
    free_ = record->free;
    valid_ = true;
  }
  OwnedData(OwnedData&& other) noexcept { swap(other); }
  OwnedData& operator=(OwnedData&& other) noexcept {
    OwnedData(std::move(other)).swap(*this);
    return *this;
  }
  ~OwnedData() {
    if (free_ != nullptr) free_(context_);
  }

  /// Whether a record was taken over. Its pointer may be null even so: data() has to be checked for calls that
  /// need bytes.
  bool valid() const { return valid_; }
  const std::byte* data() const { return data_; }

 private:
  void swap(OwnedData& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(context_, other.context_);
    std::swap(free_, other.free_);
    std::swap(valid_, other.valid_);
  }

  const std::byte* data_ = nullptr;
  void* context_ = nullptr;
  void (*free_)(void*) = nullptr;
  bool valid_ = false;
};

}  // namespace krvo::container
