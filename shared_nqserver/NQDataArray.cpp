#include "shared_nqserver/NQDataArray.h"

#include <boost/algorithm/string/predicate.hpp>
#include <locale>
#include <utility>

NQDataArray::NQDataArray(std::size_t room) {
  names_.reserve(room);
  values_.reserve(room);
}

const NQTextPtr& NQDataArray::nameText(std::size_t index) const {
  static const NQTextPtr empty;
  return index < names_.size() ? names_[index] : empty;
}

const NQDataValue& NQDataArray::value(std::size_t index) const {
  static const NQDataValue missing{};
  return index < values_.size() ? values_[index] : missing;
}

std::optional<std::size_t> NQDataArray::indexOf(std::string_view name) const {
  for (std::size_t i = 0; i < size(); ++i)
    if (boost::algorithm::iequals(this->name(i).view(), name, std::locale::classic())) return i;
  return std::nullopt;
}

const NQDataValue& NQDataArray::find(std::string_view name) const {
  return value(indexOf(name).value_or(size()));
}

void NQDataArray::set(std::size_t index, NQTextPtr name, NQDataValue value) {
  if (index >= size()) {
    names_.resize(index + 1);
    values_.resize(index + 1);
  }
  names_[index] = std::move(name);
  values_[index].swap(value);
}

std::int32_t NQDataArray::addRef() {
  const std::int32_t count = NQObject::addRef();
  if (count == 1) holdShell();
  return count;
}

std::int32_t NQDataArray::release() {
  const std::int32_t left = countDown();
  if (left > 0) return left;
  end();
  return 0;
}

void NQDataArray::releaseShell() {
  if (shellCount_.fetch_sub(1) == 1) destroy();
}

// An array that ends while another one is at it waits in a chain, instead of on the stack.
void NQDataArray::end() noexcept {
  thread_local NQDataArray* waiting = nullptr;
  thread_local bool isEnding = false;
  nextEnding_ = std::exchange(waiting, this);
  if (isEnding) return;
  isEnding = true;
  while (waiting != nullptr) {
    NQDataArray* const array = std::exchange(waiting, waiting->nextEnding_);
    std::vector<NQTextPtr>().swap(array->names_);
    std::vector<NQDataValue>().swap(array->values_);
    array->releaseShell();
  }
  isEnding = false;
}
