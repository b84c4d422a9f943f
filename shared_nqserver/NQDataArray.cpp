#include "shared_nqserver/NQDataArray.h"

#include <algorithm>
#include <utility>

#include "util/asciiCase.h"

// constinit, so that static objects may read a missing value while they are built.
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
  // Digits have no case, so names that are indexes are compared as they are.
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
  // An unnamed element gets a name of its own: from here on no name follows from the index.
  if (index < indexed_) makeIndexNames();
  if (index == size()) makeRoom(false);
  if (index >= size()) {
    names_.resize(index + 1 - indexed_);
    values_.resize(index + 1);
  }
  names_[index - indexed_] = std::move(name);
  values_[index].swap(value);
}

void NQDataArray::appendElement(NQDataValue value) {
  // After a named entry the index no longer follows from the place in names_, so the name is stored.
  if (indexed_ != size()) return append(makeText(std::to_string(size())), std::move(value));
  makeRoom(true);
  values_.push_back(std::move(value));
  ++indexed_;
}

std::size_t NQDataArray::nextValueRoom() const {
  return size() < values_.capacity() ? 0 : std::max(kLeastRoom, 2 * size());
}

// Names get as much room as values: whoever made the array may have known the number of entries.
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

void NQDataArray::makeIndexNames() {
  std::vector<NQTextPtr> names;
  for (std::size_t i = 0; i < size(); ++i) names.push_back(nameText(i));
  names_.swap(names);
  indexed_ = 0;
}

std::int32_t NQDataArray::addRef() {
  // The first counted reference, and each first one after 0, adds the one that all of them have together in
  // shellCount_.
  const std::int32_t count = NQObject::addRef();
  if (count == 1) holdShell();
  return count;
}

// Not NQObject::release(), which deletes the object: back references may still point to it.
std::int32_t NQDataArray::release() {
  const std::int32_t left = countDown();
  if (left > 0) return left;
  dropMembers();
  return 0;
}

void NQDataArray::releaseShell() {
  if (shellCount_.fetch_sub(1) == 1) destroy();
}

// Releasing a value may release the last reference to another array, which comes here again. That call only puts its
// array in the list and returns; the outermost call works through the list. So a chain of a million arrays needs no
// stack.
void NQDataArray::dropMembers() noexcept {
  thread_local NQDataArray* pending = nullptr;
  thread_local bool isDropping = false;
  nextDropped_ = std::exchange(pending, this);
  if (isDropping) return;
  isDropping = true;
  while (pending != nullptr) {
    NQDataArray* const array = std::exchange(pending, pending->nextDropped_);
    array->indexed_ = 0;
    // By swap: the vectors are empty before their contents are released, as these may lead back to this array.
    std::vector<NQTextPtr>().swap(array->names_);
    std::vector<NQDataValue>().swap(array->values_);
    array->releaseShell();
  }
  isDropping = false;
}
