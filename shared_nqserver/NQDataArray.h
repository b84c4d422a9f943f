#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared_nqserver/NQDataValue.h"

/// Named values in order: the members of an object or array, or a class's description. Belongs to one thread at a time.
///
/// The elements of an array bear their index as name. As long as no other names are among them, these names are made
/// when they are asked for, so that an element takes a value's memory and no more.
///
/// Script data may put an array into itself. The value that does so is a back reference (see NQDataValue), which holds
/// the object but not its members: when the last counted reference goes, the members go, and the emptied object follows
/// with the last back reference. However deep arrays lie in one another, their end takes no more stack.
class NQDataArray final : public NQObject {
 public:
  static constexpr std::size_t kUsualRoom = 10;
  /// How many containers lie in one another at most, in what is read, written or dumped.
  static constexpr std::size_t kMaxNesting = 256;

  /// Without entries; `room` is what is reserved for them.
  explicit NQDataArray(std::size_t room = kUsualRoom);

  std::size_t size() const { return values_.size(); }
  /// Empty past the end.
  std::string name(std::size_t index) const;
  NQTextPtr nameText(std::size_t index) const;
  /// Whether the name of an entry is its index.
  bool isNamedByIndex(std::size_t index) const;
  /// Undefined past the end.
  const NQDataValue& value(std::size_t index) const;
  /// The first entry of that name, in any mix of ASCII case.
  std::optional<std::size_t> indexOf(std::string_view name) const;
  /// Its value; undefined where there is none.
  const NQDataValue& find(std::string_view name) const;

  /// Makes entries up to `index` where they are missing.
  void set(std::size_t index, NQTextPtr name, NQDataValue value);
  void append(NQTextPtr name, NQDataValue value) { set(size(), std::move(name), std::move(value)); }
  /// Appends under its index.
  void appendElement(NQDataValue value);

  // Memory: of an array without entries, and what the next entry takes beside its name and value. Entries for which
  // room is reserved take theirs at once.

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
  /// How many entries there is room for once one more came; 0 where it fits.
  std::size_t nextValueRoom() const;
  std::size_t nextNameRoom() const;
  void makeRoom(bool isElement);
  /// Null for an entry that bears its index; a view.
  const NQText* givenName(std::size_t index) const;
  void spellOutIndexes();
  void holdShell() { shellCount_.fetch_add(1); }
  void releaseShell();
  /// Ends the members of this array, and of all that end with it.
  void end() noexcept;

  /// So many entries at the front bear their index; the others have their names in `names_`.
  std::size_t indexed_ = 0;
  std::vector<NQTextPtr> names_;
  std::vector<NQDataValue> values_;
  /// Back references, and one for all counted references together.
  std::atomic<std::int32_t> shellCount_ = 0;
  /// The next array whose members wait to be ended on this thread.
  NQDataArray* nextEnding_ = nullptr;
};
