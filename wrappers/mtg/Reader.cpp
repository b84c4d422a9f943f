#include "wrappers/mtg/Reader.h"

#include "util/memoryLayer.h"
#include "util/narrow.h"

namespace mtg {
namespace {

/// A record that the library fills.
template <typename Record>
Record ask(KrvoMTGStatus (*query)(KrvoMTGTag*, Record*), KrvoMTGTag* tag) {
  Record record{};
  record.size = sizeof(record);
  check(query(tag, &record));
  return record;
}

}  // namespace

Allocator::Allocator() : callBacks_{} {
  callBacks_.size = sizeof(callBacks_);
  callBacks_.alloc = [](void*, std::uint64_t bytes) { return qvs::util::memory::cAllocation.malloc(bytes); };
  callBacks_.free = [](void*, void* block) { qvs::util::memory::cAllocation.free(block); };
}

ScriptData::ScriptData(KrvoMTGScriptData* handle) : handle_(handle, &KrvoMTGReleaseScriptData) {}

std::string_view ScriptData::name() const {
  const char* name = nullptr;
  std::uint32_t length = 0;
  check(KrvoMTGScriptDataGetName(handle_.get(), &name, &length));
  return {name, length};
}

double ScriptData::number() const {
  double number = 0;
  check(KrvoMTGScriptDataGetNumber(handle_.get(), &number));
  return number;
}

ScriptDataIterator ScriptData::members() const {
  KrvoMTGScriptDataIterator* iterator = nullptr;
  check(KrvoMTGScriptDataGetIterator(handle_.get(), &iterator));
  return ScriptDataIterator(iterator);
}

ScriptDataIterator::ScriptDataIterator(KrvoMTGScriptDataIterator* handle)
    : handle_(handle, &KrvoMTGReleaseScriptDataIterator) {}

std::optional<ScriptData> ScriptDataIterator::next() const {
  KrvoMTGScriptData* next = nullptr;
  check(KrvoMTGScriptDataIteratorGetNext(handle_.get(), &next));
  return next == nullptr ? std::nullopt : std::optional<ScriptData>(next);
}

Tag::Tag(KrvoMTGTag* handle) : handle_(handle, &KrvoMTGReleaseTag) {}

MTGTagInfo Tag::info() const {
  return ask(&KrvoMTGTagGetInfo, handle_.get());
}

MTGVideoInfo Tag::videoInfo() const {
  return ask(&KrvoMTGTagGetVideoInfo, handle_.get());
}

MTGAudioInfo Tag::audioInfo() const {
  return ask(&KrvoMTGTagGetAudioInfo, handle_.get());
}

ScriptData Tag::scriptData() const {
  KrvoMTGScriptData* data = nullptr;
  check(KrvoMTGTagGetScriptData(handle_.get(), &data));
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

TagIterator::TagIterator(KrvoMTGTagIterator* handle) : handle_(handle, &KrvoMTGReleaseTagIterator) {}

bool TagIterator::hasMoreEntries() const {
  std::uint32_t answer = 0;
  check(KrvoMTGTagIteratorHasMoreEntries(handle_.get(), &answer));
  return answer == 1;
}

Tag TagIterator::nextEntry() const {
  KrvoMTGTag* tag = nullptr;
  check(KrvoMTGTagIteratorGetNextEntry(handle_.get(), &tag));
  return Tag(tag);
}

std::optional<Tag> TagIterator::next() const {
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
