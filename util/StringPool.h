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
/// Open to all threads: there is a lock for each length. A shared block lives until a sweep finds it unused.
///
/// All operations take bytes or 16-bit units. A text may be part of the block that it replaces.
class StringPool {
 public:
  /// The pool of all NQStrings, made on first use. Shares texts up to the length that QVS_STRING_POOL gives, by default
  /// none.
  static StringPool& instance();
  /// What a setting of QVS_STRING_POOL means; 0 for null or a negative one. A block's length has 24 bits.
  static std::int32_t maxPooledLengthFrom(const char* setting);

  /// A length takes memory once a text of it has come. Outlives the blocks that it shares.
  explicit StringPool(std::int32_t maxPooledLength);
  ~StringPool() = default;
  StringPool(const StringPool&) = delete;
  StringPool& operator=(const StringPool&) = delete;

  /// A block with that text, for one string; to be given back by `release`.
  template <typename Char>
  StringBlock<Char> intern(std::basic_string_view<Char> text);
  template <typename Char>
  void release(StringBlock<Char> block) noexcept;

  // These release what was in `block` where they put another block there. Where memory is short `block` is as before.

  /// Puts `text` there.
  template <typename Char>
  void assign(StringBlock<Char>& block, std::basic_string_view<Char> text);
  /// Puts `text` behind what is there. The block is private afterwards.
  template <typename Char>
  void append(StringBlock<Char>& block, std::basic_string_view<Char> text);
  /// The same text in a private block.
  template <typename Char>
  void makePrivate(StringBlock<Char>& block);

  /// Frees the shared blocks that no string uses, and answers their characters. While one thread is at it, others are
  /// answered 0 at once.
  std::uint64_t sweep();

  /// What a lock's texts have seen so far.
  struct Statistics {
    /// Characters of all texts ever taken in.
    std::uint32_t internedChars = 0;
    std::uint32_t hits = 0;
    std::uint32_t misses = 0;
  };
  /// Of the texts of one length; zeros where none has come.
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
    /// Strings that hold the block.
    std::int32_t useCount = 1;
  };

  /// The texts of one length.
  template <typename Char>
  using Map = std::map<const Char*, Entry<Char>, ByContent<Char>>;

  /// What guards these texts, and counts them.
  struct Shard {
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
  /// Answers the characters that were freed.
  template <typename Char>
  std::uint64_t sweepMaps();

  std::size_t maxPooledLength_;
  // By the length of their texts. A shard comes first, its map with the first text, under the shard's lock.
  Shards narrowShards_;
  Maps<char> narrowMaps_;
  Shards wideShards_;
  Maps<char16_t> wideMaps_;
  std::atomic<std::int32_t> sweepCount_ = 0;
};

}  // namespace qvs::util
