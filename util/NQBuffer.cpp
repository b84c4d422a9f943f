#include "util/NQBuffer.h"

#include <algorithm>

#include "util/diagnostics.h"

void NQBuffer::attach(NQMemoryPtr memory) {
  memory_ = std::move(memory);
  takeOver();
  clear();
}

bool NQBuffer::resize(std::uint32_t capacity) noexcept {
  if (!memory_ || !memory_->resize(capacity)) return false;
  takeOver();
  end_ = std::min(end_, capacity);
  start_ = std::min(start_, end_);
  return true;
}

void NQBuffer::setStart(std::uint32_t start) {
  const bool holds = start <= end_;
  qvs::util::diagnose(holds);
  if (holds) start_ = start;
}

void NQBuffer::setEnd(std::uint32_t end) {
  const bool holds = start_ <= end && end <= capacity_;
  qvs::util::diagnose(holds);
  if (holds) end_ = end;
}

void NQBuffer::takeOver() {
  data_ = memory_ ? memory_->data() : nullptr;
  capacity_ = memory_ ? memory_->capacity() : 0;
}
