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

// Counted handles on objects of the tag-stream library; the last copy releases the object. Each keeps the reader that
// it came from, so the order of releases does not matter. All objects of one reader belong to one thread at a time.
// Every operation throws Exception for a status other than 0.

/// The allocation callbacks given to the library, which take blocks from the module's heap. If memory is short the
/// library gets a null pointer and returns kKrvoMTGOutOfMemory. Has no state.
class Allocator {
 public:
  Allocator();
  const KrvoMTGAllocatorCallBacks& callBacks() const { return callBacks_; }

 private:
  KrvoMTGAllocatorCallBacks callBacks_;
};

/// Tag types to be shown, without the protection bit.
using TagFilter = std::vector<std::uint8_t>;

/// One tag of the file: header and data. If the stream cannot seek, its data are gone once the iterator has moved on,
/// and asking for them throws Exception with 6.
class Tag {
 public:
  /// No tag; only the test for it may be called.
  Tag() = default;
  explicit Tag(KrvoMTGTag* handle);

  /// Type, size of the data, timestamp in milliseconds.
  MTGTagInfo info() const;
  // From the first bytes of the data. For a tag of another type, or with too few bytes, Exception with 7.
  MTGVideoInfo videoInfo() const;
  MTGAudioInfo audioInfo() const;
  /// The script data of a tag of type 18, read by `decoder`, which outlives all values of it.
  ScriptData scriptData(ScriptDecoder& decoder) const;
  /// Bytes of header and data. The back pointer is not part of it.
  std::uint32_t length() const;
  /// Header and data; `out` has length() bytes.
  void copyHeaderAndData(std::span<std::byte> out) const;
  /// The same without a copy; valid until the next operation, other than a release, of any object of the same reader.
  std::span<const std::byte> viewHeaderAndData() const;

  explicit operator bool() const { return handle_ != nullptr; }

 private:
  std::shared_ptr<KrvoMTGTag> handle_;
};

/// The tags of a file in one direction.
class TagIterator {
 public:
  /// Takes over the reference that the library gave out.
  explicit TagIterator(KrvoMTGTagIterator* handle);

  /// Whether another tag follows. Throws Exception with 9 if the way back through the file is broken.
  bool hasMoreEntries() const;
  /// The next tag; Exception with 8 after the last one.
  Tag nextEntry() const;
  /// Both in one: nothing after the last tag.
  std::optional<Tag> next() const;

 private:
  std::shared_ptr<KrvoMTGTagIterator> handle_;
};

/// One tag stream, such as a file or a pipe.
///
///     mtg::Reader reader(stream, allocator);
///     for (auto tags = reader.tags(); auto tag = tags.next();) use(tag->info());
class Reader {
 public:
  /// Reads the file header; the stream is at its start. `stream` and `allocator` outlive the reader and all that comes
  /// from it.
  Reader(InputStream& stream, const Allocator& allocator);

  /// Whether there are audio and video tags. Found by looking at the tags, not by the flags of the header, which live
  /// captures often set wrongly.
  MTGDocInfo docInfo() const;
  /// All tags, in file order or `reversed`.
  TagIterator tags(bool reversed = false) const;
  /// The tags whose type is in `filter`, in file order.
  TagIterator tagsByTypes(const TagFilter& filter) const;

 private:
  // Timestamps in milliseconds: all there are.
  static constexpr std::int32_t kFirstTime = std::numeric_limits<std::int32_t>::min();
  static constexpr std::int32_t kLastTime = std::numeric_limits<std::int32_t>::max();

  std::shared_ptr<KrvoMTGReader> handle_;
};

}  // namespace mtg
