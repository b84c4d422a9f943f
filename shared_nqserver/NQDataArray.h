#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared_nqserver/NQDataValue.h"

/// Named values in order: the members of an object or array. Names may repeat. Belongs to one thread at a time.
///
/// The elements of an array have their index as name. The names of elements at the front are not stored but made on
/// demand, so that an element takes the memory of a value and no more.
///
/// Script data may put an array into itself. The value that does so is a back reference (see NQDataValue), which keeps
/// the object but not its members: with the last counted reference the members are released, and with the last back
/// reference the emptied object is deleted. Releasing nested arrays takes no stack for the depth of nesting.
class NQDataArray final : public NQObject {
 public:
  /// Entries, if whoever makes the array does not know the number.
  static constexpr std::size_t kUsualRoom = 10;
  /// The most containers inside one another that are read, written or dumped. These operations are recursive, and a
  /// byte of payload can open a container: without a limit 16 MiB of them would exhaust the stack of the host's thread.
  static constexpr std::size_t kMaxNesting = 256;

  /// An array without entries, with memory reserved for `room` of them. Throws std::bad_alloc.
  explicit NQDataArray(std::size_t room = kUsualRoom);

  std::size_t size() const { return values_.size(); }
  /// Empty for an index from size() on. A copy.
  std::string name(std::size_t index) const;
  /// The same to be shared; null for an empty name. The name of an element is made anew by each call.
  NQTextPtr nameText(std::size_t index) const;
  /// Whether the name of an entry is its index.
  bool isNamedByIndex(std::size_t index) const;
  /// Undefined for an index from size() on. A view, valid until the array is changed.
  const NQDataValue& value(std::size_t index) const;
  /// The first entry with that name, in any mix of ASCII case. Linear.
  std::optional<std::size_t> indexOf(std::string_view name) const;
  /// The value of that entry; undefined if there is none.
  const NQDataValue& find(std::string_view name) const;

  /// Replaces an entry; before it, adds undefined entries without names up to `index` if there are fewer.
  void set(std::size_t index, NQTextPtr name, NQDataValue value);
  void append(NQTextPtr name, NQDataValue value) { set(size(), std::move(name), std::move(value)); }
  /// Appends with its index as name.
  void appendElement(NQDataValue value);

  // Bytes of memory, for a ReadAllowance: of an array without entries but with room for `room`, and what appending the
  // next entry will allocate, without its name and the contents of its value; 0 if there is room.

  static constexpr std::size_t costOf(std::size_t room) {
    return sizeof(NQDataArray) + room * sizeof(NQDataValue) + ReadAllowance::kPerBlock;
  }
  std::size_t costOfNext(bool isElement) const;

  std::int32_t addRef() override;
  std::int32_t release() override;

 private:
  friend class NQDataValue;

  /// Small, as payloads have many objects of a member or two.
  static constexpr std::size_t kLeastRoom = 2;
  static const NQDataValue missing_;

  ~NQDataArray() override = default;
  /// The number of entries that room has to be made for to append one more; 0 if one more fits.
  std::size_t nextValueRoom() const;
  std::size_t nextNameRoom() const;
  void makeRoom(bool isElement);
  /// The stored name; null if it is empty or the index. A view.
  const NQText* givenName(std::size_t index) const;
  /// Stores the names of all elements, before one of them gets another name.
  void makeIndexNames();
  void holdShell() { shellCount_.fetch_add(1); }
  void releaseShell();
  /// Releases the members of this array, and of all arrays whose last reference goes with them.
  void dropMembers() noexcept;

  /// Number of entries at the front whose name is their index and is not stored; `names_` has those of the others.
  std::size_t indexed_ = 0;
  std::vector<NQTextPtr> names_;
  std::vector<NQDataValue> values_;
  /// Number of back references, plus one as long as there are counted references. At 0 the object is deleted.
  std::atomic<std::int32_t> shellCount_ = 0;
  /// Link in the list of arrays whose members are still to be released on this thread.
  NQDataArray* nextDropped_ = nullptr;
};
