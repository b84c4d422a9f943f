// The entries of the library.

#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "platform/tagstream/ScriptEntry.h"
#include "platform/tagstream/TagCursor.h"
#include "platform/tagstream/TagFile.h"
#include "platform/tagstream/krvo_mtg.h"
#include "platform/tagstream/status.h"

using namespace krvo::tagstream;

struct KrvoMTGReader {
  std::shared_ptr<TagFile> file;
};

struct KrvoMTGTagIterator {
  TagCursor walk;
};

struct KrvoMTGTag {
  std::shared_ptr<TagFile> file;
  FileTag tag;
};

struct KrvoMTGScriptData {
  std::shared_ptr<const ScriptEntry> entry;
};

struct KrvoMTGScriptDataIterator {
  std::shared_ptr<const ScriptEntry> owner;
  std::uint32_t next = 0;
};

namespace {

using qvs::util::kAudioTag;
using qvs::util::kVideoTag;

/// Fills in the caller's record, whose size is checked before anything is written: a caller built against another
/// version of the record must not have its stack overwritten.
template <typename Record>
void answer(Record* out, Record values) {
  require(out != nullptr && out->size == sizeof(Record));
  values.size = sizeof(Record);
  *out = values;
}

TagChoice everything() {
  using Limits = std::numeric_limits<std::int32_t>;
  return {.from = Limits::min(), .to = Limits::max(), .types = {}};
}

void giveWalk(KrvoMTGReader* reader, TagChoice choice, std::uint32_t reversed, KrvoMTGTagIterator** iterator) {
  require(reader != nullptr && iterator != nullptr);
  *iterator = giveHandle<KrvoMTGTagIterator>(TagCursor(reader->file, std::move(choice), reversed != 0));
}

/// The first byte of the data of a tag of that type.
std::uint8_t firstByte(const KrvoMTGTag* tag, std::uint8_t type) {
  require(tag != nullptr);
  require(tag->tag.type() == type && tag->tag.dataSize() != 0, kKrvoMTGOtherKind);
  const auto byte = tag->file->bytes().view(tag->tag.offset + tag->tag.header.size(), 1);
  require(!byte.empty(), kKrvoMTGStreamFailed);
  return std::to_integer<std::uint8_t>(byte.front());
}

/// Header and data, a view until the next read. Fewer bytes than the tag had when it was found mean that the file has
/// been cut meanwhile, which is a failure of the stream.
std::span<const std::byte> headerAndData(const KrvoMTGTag& tag) {
  const auto bytes = tag.file->bytes().view(tag.tag.offset, tag.tag.length());
  require(bytes.size() == tag.tag.length(), kKrvoMTGStreamFailed);
  return bytes;
}

}  // namespace

KrvoMTGStatus KrvoMTGDocOpenForRead(const KrvoMTGInputStreamCallBacks* stream,
                                    const KrvoMTGAllocatorCallBacks* allocator, KrvoMTGReader** reader) {
  return guarded([=] {
    require(stream != nullptr && allocator != nullptr && reader != nullptr);
    // Shared with iterators and tags, so that handles may be released in any order.
    *reader = giveHandle<KrvoMTGReader>(std::make_shared<TagFile>(*stream, *allocator));
  });
}

KrvoMTGStatus KrvoMTGReleaseReader(KrvoMTGReader* reader) {
  return takeHandle(reader);
}

KrvoMTGStatus KrvoMTGReaderGetDocInfo(KrvoMTGReader* reader, MTGDocInfo* info) {
  return guarded([=] {
    require(reader != nullptr);
    // The flags of the header are not used: a live capture was begun before anybody knew them.
    MTGDocInfo found = {};
    TagCursor walk(reader->file, everything(), false);
    while (found.hasAudio == 0 || found.hasVideo == 0) {
      const auto tag = walk.next();
      if (!tag) break;
      if (tag->type() == kAudioTag) found.hasAudio = 1;
      if (tag->type() == kVideoTag) found.hasVideo = 1;
    }
    answer(info, found);
  });
}

KrvoMTGStatus KrvoMTGReaderGetTags(KrvoMTGReader* reader, std::int32_t from, std::int32_t to, std::uint32_t reversed,
                                   KrvoMTGTagIterator** iterator) {
  return guarded([=] { giveWalk(reader, {.from = from, .to = to, .types = {}}, reversed, iterator); });
}

KrvoMTGStatus KrvoMTGReaderGetTagsByTagTypes(KrvoMTGReader* reader, const std::uint8_t* types, std::uint32_t typeCount,
                                             std::int32_t from, std::int32_t to, std::uint32_t reversed,
                                             KrvoMTGTagIterator** iterator) {
  return guarded([=] {
    require(types != nullptr || typeCount == 0);
    TagChoice choice{.from = from, .to = to, .types = {types, types + typeCount}};
    // A caller without types wants no tag, but a choice without types includes all: so the range is made empty.
    if (typeCount == 0) choice = {.from = 1, .to = 0, .types = {}};
    giveWalk(reader, std::move(choice), reversed, iterator);
  });
}

KrvoMTGStatus KrvoMTGReleaseTagIterator(KrvoMTGTagIterator* iterator) {
  return takeHandle(iterator);
}

KrvoMTGStatus KrvoMTGTagIteratorHasMoreEntries(KrvoMTGTagIterator* iterator, std::uint32_t* answer) {
  return guarded([=] {
    require(iterator != nullptr && answer != nullptr);
    *answer = iterator->walk.peek() ? 1 : 0;
  });
}

KrvoMTGStatus KrvoMTGTagIteratorGetNextEntry(KrvoMTGTagIterator* iterator, KrvoMTGTag** tag) {
  return guarded([=] {
    require(iterator != nullptr && tag != nullptr);
    const auto next = iterator->walk.next();
    require(next.has_value(), kKrvoMTGNoMoreEntries);
    *tag = giveHandle<KrvoMTGTag>(iterator->walk.file(), *next);
  });
}

KrvoMTGStatus KrvoMTGReleaseTag(KrvoMTGTag* tag) {
  return takeHandle(tag);
}

KrvoMTGStatus KrvoMTGTagGetInfo(KrvoMTGTag* tag, MTGTagInfo* info) {
  return guarded([=] {
    require(tag != nullptr);
    const FileTag& stored = tag->tag;
    answer(info, {.size = 0,
                  .type = stored.type(),
                  .dataSize = stored.dataSize(),
                  .timestamp = stored.timestamp(),
                  .streamId = qvs::util::tagStreamId(stored.header.data())});
  });
}

KrvoMTGStatus KrvoMTGTagGetVideoInfo(KrvoMTGTag* tag, MTGVideoInfo* info) {
  return guarded([=] {
    const unsigned byte = firstByte(tag, kVideoTag);
    answer(info, {.size = 0, .frameType = byte >> 4, .codecId = byte & 0x0F});
  });
}

KrvoMTGStatus KrvoMTGTagGetAudioInfo(KrvoMTGTag* tag, MTGAudioInfo* info) {
  return guarded([=] {
    const unsigned byte = firstByte(tag, kAudioTag);
    answer(info, {.size = 0,
                  .soundFormat = byte >> 4,
                  .rateIndex = byte >> 2 & 3,
                  .sizeBit = byte >> 1 & 1,
                  .channelBit = byte & 1});
  });
}

KrvoMTGStatus KrvoMTGTagGetLength(KrvoMTGTag* tag, std::uint32_t* length) {
  return guarded([=] {
    require(tag != nullptr && length != nullptr);
    *length = tag->tag.length();
  });
}

KrvoMTGStatus KrvoMTGTagCopyHeaderAndData(KrvoMTGTag* tag, void* buffer, std::uint32_t length) {
  return guarded([=] {
    require(tag != nullptr && buffer != nullptr && length == tag->tag.length());
    std::memcpy(buffer, headerAndData(*tag).data(), length);
  });
}

KrvoMTGStatus KrvoMTGTagViewHeaderAndData(KrvoMTGTag* tag, const void** bytes) {
  return guarded([=] {
    require(tag != nullptr && bytes != nullptr);
    *bytes = headerAndData(*tag).data();
  });
}

KrvoMTGStatus KrvoMTGTagGetScriptData(KrvoMTGTag* tag, const KrvoMTGScriptCallBacks* script, KrvoMTGScriptData** data) {
  return guarded([=] {
    require(tag != nullptr && script != nullptr && data != nullptr);
    require(tag->tag.type() == qvs::util::kAmf0DataTag, kKrvoMTGOtherKind);
    *data =
        giveHandle<KrvoMTGScriptData>(ScriptEntry::read(*script, headerAndData(*tag).subspan(tag->tag.header.size())));
  });
}

KrvoMTGStatus KrvoMTGReleaseScriptData(KrvoMTGScriptData* data) {
  return takeHandle(data);
}

KrvoMTGStatus KrvoMTGScriptDataGetName(KrvoMTGScriptData* data, const char** name, std::uint32_t* length) {
  return guarded([=] {
    require(data != nullptr && name != nullptr && length != nullptr);
    *name = data->entry->name().data();
    *length = static_cast<std::uint32_t>(data->entry->name().size());
  });
}

KrvoMTGStatus KrvoMTGScriptDataGetNumber(KrvoMTGScriptData* data, double* number) {
  return guarded([=] {
    require(data != nullptr && number != nullptr);
    const auto value = data->entry->number();
    require(value.has_value(), kKrvoMTGOtherKind);
    *number = *value;
  });
}

KrvoMTGStatus KrvoMTGScriptDataGetIterator(KrvoMTGScriptData* data, KrvoMTGScriptDataIterator** iterator) {
  return guarded([=] {
    require(data != nullptr && iterator != nullptr);
    *iterator = giveHandle<KrvoMTGScriptDataIterator>(data->entry);
  });
}

KrvoMTGStatus KrvoMTGReleaseScriptDataIterator(KrvoMTGScriptDataIterator* iterator) {
  return takeHandle(iterator);
}

KrvoMTGStatus KrvoMTGScriptDataIteratorGetNext(KrvoMTGScriptDataIterator* iterator, KrvoMTGScriptData** entry) {
  return guarded([=] {
    require(iterator != nullptr && entry != nullptr);
    // Counted only after success: after a failure the same member is asked for again.
    auto member = iterator->owner->member(iterator->next);
    *entry = member ? giveHandle<KrvoMTGScriptData>(std::move(member)) : nullptr;
    if (*entry != nullptr) ++iterator->next;
  });
}
