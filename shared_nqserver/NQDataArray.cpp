#include "shared_nqserver/NQDataArray.h"

#include <algorithm>
#include <utility>

#include "util/asciiCase.h"

constinit const NQDataValue NQDataArray::missing_{};

NQDataArray::NQDataArray(std::size_t room) {
  values_.reserve(room);
}

std::string NQDataArray::name(std::size_t index) const {
  if (index < indexed_) return std::to_string(index);
  return std::string(stringOf(givenName(index)).view());
}

NQTextPtr NQDataArray::nameText(std::size_t index) const {
  if (index < indexed_) return makeText(std::to_string(index));
  return index < size() ? names_[index - indexed_] : NQTextPtr();
}

bool NQDataArray::isNamedByIndex(std::size_t index) const {
  return index < indexed_ || (index < size() && stringOf(givenName(index)).view() == std::to_string(index));
}

const NQText* NQDataArray::givenName(std::size_t index) const {
  return index >= indexed_ && index < size() ? names_[index - indexed_].get() : nullptr;
}

const NQDataValue& NQDataArray::value(std::size_t index) const {
  return index < values_.size() ? values_[index] : missing_;
}

std::optional<std::size_t> NQDataArray::indexOf(std::string_view name) const {
  for (std::size_t i = 0; i < indexed_; ++i)
    if (name == std::to_string(i)) return i;
  for (std::size_t i = indexed_; i < size(); ++i)
    if (qvs::util::equalInAnyCase(stringOf(givenName(i)).view(), name)) return i;
  return std::nullopt;
}

const NQDataValue& NQDataArray::find(std::string_view name) const {
  return value(indexOf(name).value_or(size()));
}

void NQDataArray::set(std::size_t index, NQTextPtr name, NQDataValue value) {
  if (index < indexed_) spellOutIndexes();
  if (index == size()) makeRoom(false);
  if (index >= size()) {
    names_.resize(index + 1 - indexed_);
    values_.resize(index + 1);
  }
  names_[index - indexed_] = std::move(name);
  values_[index].swap(value);
}

void NQDataArray::appendElement(NQDataValue value) {
  if (indexed_ != size()) return append(makeText(std::to_string(size())), std::move(value));
  makeRoom(true);
  values_.push_back(std::move(value));
  ++indexed_;
}

std::size_t NQDataArray::nextValueRoom() const {
  return size() < values_.capacity() ? 0 : std::max(kLeastRoom, 2 * size());
}

// Names get as much room as values have, which whoever made the array may have known.
std::size_t NQDataArray::nextNameRoom() const {
  return names_.size() < names_.capacity() ? 0 : std::max(nextValueRoom(), values_.capacity()) - indexed_;
}

std::size_t NQDataArray::costOfNext(bool isElement) const {
  const std::size_t values = nextValueRoom() * sizeof(NQDataValue);
  return isElement && indexed_ == size() ? values : values + nextNameRoom() * sizeof(NQTextPtr);
}

void NQDataArray::makeRoom(bool isElement) {
  if (!isElement) names_.reserve(nextNameRoom());
  values_.reserve(nextValueRoom());
}

void NQDataArray::spellOutIndexes() {
  std::vector<NQTextPtr> names;
  for (std::size_t i = 0; i < size(); ++i) names.push_back(nameText(i));
  names_.swap(names);
  indexed_ = 0;
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
    array->indexed_ = 0;
    std::vector<NQTextPtr>().swap(array->names_);
    std::vector<NQDataValue>().swap(array->values_);
    array->releaseShell();
  }
  isEnding = false;
}
