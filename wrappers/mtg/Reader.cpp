#include "wrappers/mtg/Reader.h"

#include "util/memoryLayer.h"
#include "util/narrow.h"

namespace mtg {
namespace {

/// A record that the library fills. It has to have its size first, by which the library checks its version.
template <typename Record>
Record recordFrom(KrvoMTGStatus (*query)(KrvoMTGTag*, Record*), KrvoMTGTag* tag) {
  Record record{};
  record.size = sizeof(record);
  check(query(tag, &record));
  return record;
}

}  // namespace

Allocator::Allocator() : callBacks_{} {
  callBacks_.size = sizeof(callBacks_);
  // From the module's own heap, like all of its memory.
  callBacks_.alloc = [](void*, std::uint64_t bytes) { return qvs::util::memory::cAllocation.malloc(bytes); };
  callBacks_.free = [](void*, void* block) { qvs::util::memory::cAllocation.free(block); };
}

Tag::Tag(KrvoMTGTag* handle) : handle_(handle, &KrvoMTGReleaseTag) {}

MTGTagInfo Tag::info() const {
  return recordFrom(&KrvoMTGTagGetInfo, handle_.get());
}

MTGVideoInfo Tag::videoInfo() const {
  return recordFrom(&KrvoMTGTagGetVideoInfo, handle_.get());
}

MTGAudioInfo Tag::audioInfo() const {
  return recordFrom(&KrvoMTGTagGetAudioInfo, handle_.get());
}

ScriptData Tag::scriptData(ScriptDecoder& decoder) const {
  KrvoMTGScriptCallBacks callBacks{};
  decoder.fill(callBacks);
  KrvoMTGScriptData* data = nullptr;
  check(KrvoMTGTagGetScriptData(handle_.get(), &callBacks, &data));
  return ScriptData(data);
}

std::uint32_t Tag::length() const {
  std::uint32_t length = 0;
  check(KrvoMTGTagGetLength(handle_.get(), &length));
  return length;
}

void Tag::copyHeaderAndData(std::span<std::byte> out) const {
  check(KrvoMTGTagCopyHeaderAndData(handle_.get(), out.data(), qvs::util::narrow<std::uint32_t>(out.size())));
}

std::span<const std::byte> Tag::viewHeaderAndData() const {
  const void* bytes = nullptr;
  // First: the view is valid until the next call.
  const std::uint32_t size = length();
  check(KrvoMTGTagViewHeaderAndData(handle_.get(), &bytes));
  return {static_cast<const std::byte*>(bytes), size};
}

TagIterator::TagIterator(KrvoMTGTagIterator* handle) : handle_(handle, &KrvoMTGReleaseTagIterator) {}

bool TagIterator::hasMoreEntries() const {
  // On a pipe this reads the next tag: how much follows is not known before.
  std::uint32_t hasMore = 0;
  check(KrvoMTGTagIteratorHasMoreEntries(handle_.get(), &hasMore));
  return hasMore == 1;
}

Tag TagIterator::nextEntry() const {
  KrvoMTGTag* tag = nullptr;
  check(KrvoMTGTagIteratorGetNextEntry(handle_.get(), &tag));
  return Tag(tag);
}

std::optional<Tag> TagIterator::next() const {
  // Asked first: nextEntry() after the last tag is a failure.
  return hasMoreEntries() ? std::optional(nextEntry()) : std::nullopt;
}

Reader::Reader(InputStream& stream, const Allocator& allocator) {
  KrvoMTGInputStreamCallBacks callBacks{};
  stream.fill(callBacks);
  KrvoMTGReader* reader = nullptr;
  check(KrvoMTGDocOpenForRead(&callBacks, &allocator.callBacks(), &reader));
  handle_ = {reader, &KrvoMTGReleaseReader};
}

MTGDocInfo Reader::docInfo() const {
  MTGDocInfo info{};
  info.size = sizeof(info);
  check(KrvoMTGReaderGetDocInfo(handle_.get(), &info));
  return info;
}

TagIterator Reader::tags(bool reversed) const {
  KrvoMTGTagIterator* iterator = nullptr;
  check(KrvoMTGReaderGetTags(handle_.get(), kFirstTime, kLastTime, reversed ? 1 : 0, &iterator));
  return TagIterator(iterator);
}

TagIterator Reader::tagsByTypes(const TagFilter& filter) const {
  KrvoMTGTagIterator* iterator = nullptr;
  check(KrvoMTGReaderGetTagsByTagTypes(handle_.get(), filter.data(), qvs::util::narrow<std::uint32_t>(filter.size()),
                                       kFirstTime, kLastTime, 0, &iterator));
  return TagIterator(iterator);
}

}  // namespace mtg
