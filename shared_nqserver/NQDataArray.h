#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "shared_nqserver/NQDataValue.h"

/// Named values in order: the members of an object or array, or a class's description. Belongs to one thread at a time.
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
  const NQNarrowString& name(std::size_t index) const { return stringOf(nameText(index).get()); }
  const NQTextPtr& nameText(std::size_t index) const;
  /// Undefined past the end.
  const NQDataValue& value(std::size_t index) const;
  /// The first entry of that name, in any mix of ASCII case.
  std::optional<std::size_t> indexOf(std::string_view name) const;
  /// Its value; undefined where there is none.
  const NQDataValue& find(std::string_view name) const;

  /// Makes entries up to `index` where they are missing.
  void set(std::size_t index, NQTextPtr name, NQDataValue value);
  void append(NQTextPtr name, NQDataValue value) { set(size(), std::move(name), std::move(value)); }

  std::int32_t addRef() override;
  std::int32_t release() override;

 private:
  friend class NQDataValue;

  ~NQDataArray() override = default;
  void holdShell() { shellCount_.fetch_add(1); }
  void releaseShell();
  /// Ends the members of this array, and of all that end with it.
  void end() noexcept;

  std::vector<NQTextPtr> names_;
  std::vector<NQDataValue> values_;
  /// Back references, and one for all counted references together.
  std::atomic<std::int32_t> shellCount_ = 0;
  /// The next array whose members wait to be ended on this thread.
  NQDataArray* nextEnding_ = nullptr;
};
