#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <unordered_map>

namespace host {

/// Knows for open segment files which writes leave a fragment unfinished. Such bytes are named by no index before a
/// later write has finished the fragment, so that only the later one has to be made durable.
///
/// A fragment is `afra abst moof mdat`, written front to back, and the size of its `mdat` is in its first write (see
/// docs/formats.md). Any threads may use the same object, for different files at the same time.
class UnfinishedFragments {
 public:
  /// `bytes` have been written at `offset` of the open file `handle`. Returns true if they begin a fragment, or
  /// continue the one of the write before, and end before the end of its `mdat`. False in every other case, also for
  /// bytes that it does not understand: the caller flushes after those. Throws std::bad_alloc.
  bool isUnfinishedAfter(std::int32_t handle, std::uint64_t offset, std::span<const std::byte> bytes);
  /// To be called before `handle` is closed, since another file may get its number.
  void forget(std::int32_t handle);

 private:
  /// Offsets in the file.
  struct Fragment {
    /// First byte that has not been written.
    std::uint64_t next = 0;
    std::uint64_t end = 0;
  };

  std::mutex mutex_;
  /// By handle: files whose last write left a fragment unfinished.
  std::unordered_map<std::int32_t, Fragment> unfinished_;
};

}  // namespace host
