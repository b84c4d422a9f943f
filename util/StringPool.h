#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

#include "util/LazyArray.h"
#include "util/QVSThreadUtils.h"
#include "util/StringBlock.h"

namespace qvs::util {

/// Shares the blocks of short texts between all strings of the process, and makes and frees the blocks of long ones.
/// May be used by all threads at once: each length has its own lock, so texts of different lengths never wait for each
/// other. A shared block is immutable and lives until a sweep finds it unused.
///
/// A text of at most `maxPooledLength` characters is looked up by its length and content; the entry counts the strings
/// that use its block. A longer one gets a private block, which belongs to one string and is freed with it. Appending
/// makes a private block of either, since a shared one must not change.
///
/// All operations take bytes or 16-bit units. A text may be part of the block that it replaces. They throw
/// std::bad_alloc.
class StringPool {
 public:
  /// The pool of all NQStrings, made at its first use and never destroyed. The environment variable QVS_STRING_POOL is
  /// the greatest length, in characters, that is shared; without it no text is.
  static StringPool& instance();
  /// The length that a value of QVS_STRING_POOL means: 0 for null, a negative one or no number, at most 0xFFFFFF.
  static std::int32_t maxPooledLengthFrom(const char* setting);

  /// `maxPooledLength` in characters. A length takes memory only once a text of it has come (LazyArray). The pool
  /// outlives the blocks that it shares.
  explicit StringPool(std::int32_t maxPooledLength);
  ~StringPool() = default;
  StringPool(const StringPool&) = delete;
  StringPool& operator=(const StringPool&) = delete;

  /// A block with `text` for one string, which gives it back by `release`.
  template <typename Char>
  StringBlock<Char> intern(std::basic_string_view<Char> text);
  template <typename Char>
  void release(StringBlock<Char> block) noexcept;

  // These three release the old block if they replace it. If memory is short, they throw and `block` is as before.

  /// Replaces the text, in place if a private block has room.
  template <typename Char>
  void assign(StringBlock<Char>& block, std::basic_string_view<Char> text);
  /// Adds `text` at the end. The block is private afterwards.
  template <typename Char>
  void append(StringBlock<Char>& block, std::basic_string_view<Char> text);
  /// Replaces a shared block by a private one with the same text.
  template <typename Char>
  void makePrivate(StringBlock<Char>& block);

  /// Frees the shared blocks that no string uses and returns the sum of their lengths, in characters. While one thread
  /// sweeps, others return 0 at once. Nothing in the module calls it.
  std::uint64_t sweep();

  /// Counts of the texts of one length; they wrap.
  struct Statistics {
    /// Characters of all texts ever added.
    std::uint32_t internedChars = 0;
    std::uint32_t hits = 0;
    std::uint32_t misses = 0;
  };
  /// Those of a length; zeros before its first text.
  template <typename Char>
  Statistics statistics(std::size_t length);

 private:
  /// Orders texts of one length by their bytes.
  template <typename Char>
  struct ByContent {
    std::size_t length;
    bool operator()(const Char* a, const Char* b) const;
  };

  /// Owns a shared block.
  template <typename Char>
  struct Entry {
    explicit Entry(std::basic_string_view<Char> text) : block(StringBlock<Char>::makePooled(text)) {}
    Entry(Entry&& other) noexcept : block(std::exchange(other.block, {})), useCount(other.useCount) {}
    Entry& operator=(Entry&&) = delete;
    ~Entry() { block.destroy(); }

    StringBlock<Char> block;
    /// Strings that use the block; at 0 the entry stays until a sweep.
    std::int32_t useCount = 1;
  };

  /// The texts of one length.
  template <typename Char>
  using Map = std::map<const Char*, Entry<Char>, ByContent<Char>>;

  /// The lock of the texts of one length, and their counts.
  struct Shard {
    /// It spins before it sleeps: the lock is held for one lookup.
    Shard() { mutex.setSpinCount(1000); }

    NQThreadOnlyMutex mutex{true};
    Statistics statistics;
  };

  using Shards = LazyArray<Shard>;
  template <typename Char>
  using Maps = LazyArray<Map<Char>>;

  template <typename Char>
  Shards& shards();
  template <typename Char>
  Maps<Char>& maps();
  /// Returns the number of characters that were freed.
  template <typename Char>
  std::uint64_t sweepMaps();

  std::size_t maxPooledLength_;
  // Indexed by the length of the texts. A map is made with its first text, under the lock of its shard.
  Shards narrowShards_;
  Maps<char> narrowMaps_;
  Shards wideShards_;
  Maps<char16_t> wideMaps_;
  /// Threads inside `sweep`.
  std::atomic<std::int32_t> sweepCount_ = 0;
};

}  // namespace qvs::util
