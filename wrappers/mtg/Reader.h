#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/tagstream/krvo_mtg.h"
#include "wrappers/mtg/Exception.h"
#include "wrappers/mtg/InputStream.h"
#include "wrappers/mtg/ScriptData.h"
#include "wrappers/mtg/ScriptDecoder.h"

namespace mtg {

// Counted handles on what the tag-stream library gives out; the last copy releases it. All that comes from one reader
// belongs to one thread at a time. Every operation throws Exception for a status other than 0.

/// The allocation callbacks given to the library. A block is cut from the heap; where there is none the library gets a
/// null pointer.
class Allocator {
 public:
  Allocator();
  const KrvoMTGAllocatorCallBacks& callBacks() const { return callBacks_; }

 private:
  KrvoMTGAllocatorCallBacks callBacks_;
};

/// The tag types that a walk shows.
using TagFilter = std::vector<std::uint8_t>;

class Tag {
 public:
  /// No tag, of which nothing may be asked.
  Tag() = default;
  explicit Tag(KrvoMTGTag* handle);

  MTGTagInfo info() const;
  MTGVideoInfo videoInfo() const;
  MTGAudioInfo audioInfo() const;
  /// Of a tag of type 18. `decoder` outlives all that comes from this.
  ScriptData scriptData(ScriptDecoder& decoder) const;
  /// Bytes of header and data.
  std::uint32_t length() const;
  /// Header and data; `out` has length() bytes.
  void copyHeaderAndData(std::span<std::byte> out) const;

  explicit operator bool() const { return handle_ != nullptr; }

 private:
  std::shared_ptr<KrvoMTGTag> handle_;
};

class TagIterator {
 public:
  explicit TagIterator(KrvoMTGTagIterator* handle);

  bool hasMoreEntries() const;
  Tag nextEntry() const;
  /// Nothing behind the last one.
  std::optional<Tag> next() const;

 private:
  std::shared_ptr<KrvoMTGTagIterator> handle_;
};

class Reader {
 public:
  /// `stream` and `allocator` outlive the reader and all that comes from it.
  Reader(InputStream& stream, const Allocator& allocator);

  MTGDocInfo docInfo() const;
  /// All tags, in file order or `reversed`.
  TagIterator tags(bool reversed = false) const;
  /// In file order, those of the types of `filter`.
  TagIterator tagsByTypes(const TagFilter& filter) const;

 private:
  static constexpr std::int32_t kFirstTime = std::numeric_limits<std::int32_t>::min();
  static constexpr std::int32_t kLastTime = std::numeric_limits<std::int32_t>::max();

  std::shared_ptr<KrvoMTGReader> handle_;
};

}  // namespace mtg
