#include "util/NQBuffer.h"

#include <algorithm>

#include "util/diagnostics.h"

void NQBuffer::attach(NQMemoryPtr memory) {
  memory_ = std::move(memory);
  refresh();
  clear();
}

bool NQBuffer::resize(std::uint32_t capacity) noexcept {
  if (!memory_ || !memory_->resize(capacity)) return false;
  // The bytes have moved, whatever the new capacity is.
  refresh();
  end_ = std::min(end_, capacity);
  start_ = std::min(start_, end_);
  return true;
}

void NQBuffer::setStart(std::uint32_t start) {
  const bool isValid = start <= end_;
  qvs::util::diagnose(isValid);
  if (isValid) start_ = start;
}

void NQBuffer::setEnd(std::uint32_t end) {
  const bool isValid = start_ <= end && end <= capacity_;
  qvs::util::diagnose(isValid);
  if (isValid) end_ = end;
}

void NQBuffer::refresh() {
  data_ = memory_ ? memory_->data() : nullptr;
  capacity_ = memory_ ? memory_->capacity() : 0;
}
