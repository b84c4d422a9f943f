#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace host::serve {

/// Values by key, of which the least recently used go when they are too large together. A value that is removed lives
/// as long as somebody uses it. Any thread may call it.
template <typename Value>
class BoundedCache {
 public:
  using Pointer = std::shared_ptr<Value>;

  /// `limit` in bytes.
  explicit BoundedCache(std::uint64_t limit) : limit_(limit) {}

  /// Null if there is none.
  Pointer find(const std::string& key) {
    const std::lock_guard lock(mutex_);
    return touch(key);
  }

  /// The value; `make` makes a small one if there is none.
  Pointer findOrAdd(const std::string& key, const std::function<Pointer()>& make) {
    const std::lock_guard lock(mutex_);
    if (Pointer found = touch(key)) return found;
    return insert(key, make(), 0);
  }

  /// Adds or replaces a value of so many bytes. Others may go for it, never the value itself.
  void put(const std::string& key, Pointer value, std::uint64_t bytes) {
    const std::lock_guard lock(mutex_);
    erase(key);
    insert(key, std::move(value), bytes);
  }

  /// Says how large a value is now; does nothing if it was removed.
  void setBytes(const std::string& key, std::uint64_t bytes) {
    const std::lock_guard lock(mutex_);
    const auto found = byKey_.find(key);
    if (found == byKey_.end()) return;
    used_ += bytes + kOverhead - found->second->bytes;
    found->second->bytes = bytes + kOverhead;
    shrink();
  }

 private:
  struct Entry {
    std::string key;
    Pointer value;
    std::uint64_t bytes = 0;
  };
  /// Of an entry without its value, so that small values are bounded, too.
  static constexpr std::uint64_t kOverhead = 512;

  Pointer touch(const std::string& key) {
    const auto found = byKey_.find(key);
    if (found == byKey_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->value;
  }

  Pointer insert(const std::string& key, Pointer value, std::uint64_t bytes) {
    entries_.push_front({.key = key, .value = value, .bytes = bytes + kOverhead});
    byKey_[key] = entries_.begin();
    used_ += bytes + kOverhead;
    shrink();
    return value;
  }

  void erase(const std::string& key) {
    const auto found = byKey_.find(key);
    if (found == byKey_.end()) return;
    used_ -= found->second->bytes;
    entries_.erase(found->second);
    byKey_.erase(found);
  }

  /// The newest stays, however large it is: it is in use.
  void shrink() {
    while (used_ > limit_ && entries_.size() > 1) erase(std::string(entries_.back().key));
  }

  const std::uint64_t limit_;
  std::mutex mutex_;
  // All guarded by `mutex_`. The most recently used entry is the first.
  std::list<Entry> entries_;
  std::unordered_map<std::string, typename std::list<Entry>::iterator> byKey_;
  std::uint64_t used_ = 0;
};

}  // namespace host::serve
