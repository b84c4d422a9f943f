#pragma once

#include <cstdint>

// The tag-stream library: reads files of media tags, front to back or back to front.
//
//     0  u8[3]  signature, three letters      5  u32  header size n, at least 9
//     3  u8     version 1                     n  u32  back pointer 0
//     4  u8     flags, not gone by                then tags: 11 bytes header, data, u32 back pointer
//
// Every call answers a status, 0 for success. What a call gives out is released by the matching release; it keeps what
// it came from, so the order of releases does not matter. All that comes from one reader belongs to one thread at a
// time. No exception leaves the library.

using KrvoMTGStatus = std::uint32_t;

enum KrvoMTGStatusCode : KrvoMTGStatus {
  kKrvoMTGOk = 0,
  kKrvoMTGUnknown = 1,
  /// A null pointer, a record or a buffer of the wrong size.
  kKrvoMTGBadArgument = 2,
  /// The file does not begin with three letters and version 1.
  kKrvoMTGNoTagStream = 3,
  /// It does, but the header ends early, or within itself.
  kKrvoMTGBadHeader = 4,
  /// What a stream answers that cannot be read or moved.
  kKrvoMTGStreamFailed = 5,
  /// What was asked for lies in front of the position of a stream that cannot seek.
  kKrvoMTGPassed = 6,
  /// The tag, or the value, is not of the kind that was asked about, or too short for it.
  kKrvoMTGOtherKind = 7,
  kKrvoMTGNoMoreEntries = 8,
  /// On the way back: what should be a back pointer does not lead to a tag, as in a file whose end is cut off.
  kKrvoMTGNoWayBack = 9,
  kKrvoMTGOutOfMemory = 18,
  kKrvoMTGForeignException = 19,
};

extern "C" {

struct KrvoMTGReader;
struct KrvoMTGTagIterator;
struct KrvoMTGTag;
struct KrvoMTGScriptData;
struct KrvoMTGScriptDataIterator;

// ---- Callbacks: `size` is the size of the record, `context` the first argument of each function. ----

struct KrvoMTGAllocatorCallBacks {
  std::uint32_t size;
  void* context;
  void* (*alloc)(void* context, std::uint64_t bytes);
  void (*free)(void* context, void* block);
};

/// The file, which comes open and at its start. The library calls addReference when it takes the stream and release
/// when it is done; open and close are the owner's.
struct KrvoMTGInputStreamCallBacks {
  std::uint32_t size;
  void* context;
  KrvoMTGStatus (*addReference)(void* context);
  KrvoMTGStatus (*release)(void* context);
  /// Up to `count` bytes from the current position; `*done` tells how many, 0 at the end.
  KrvoMTGStatus (*read)(void* context, void* buffer, std::uint32_t count, std::uint32_t* done);
  /// Mode 0 from the start, 1 from the current position, 2 from the end. A stream that refuses the first call, a move
  /// to its end, is read front to back without another one.
  KrvoMTGStatus (*seek)(void* context, std::int64_t offset, std::uint32_t mode);
  KrvoMTGStatus (*tell)(void* context, std::int64_t* position);
  KrvoMTGStatus (*open)(void* context);
  KrvoMTGStatus (*close)(void* context);
};

/// A named value of script data, as the caller has read it.
struct KrvoMTGScriptValue {
  /// The caller's, not null. The library gives it back by KrvoMTGScriptCallBacks::release.
  void* handle;
  /// A view that lives as long as `handle`.
  const char* name;
  std::uint32_t nameLength;
  /// 1 if the value is a number.
  std::uint32_t isNumber;
  double number;
};

/// The caller's reader of script data. The library has none of its own: see "There is one reader of script data" in
/// docs/decisions.md. A handle stays valid until its own release, whatever else is released before.
struct KrvoMTGScriptCallBacks {
  std::uint32_t size;
  void* context;
  /// The name that the data of a tag begin with, empty if that is no text, and the value behind it. `data` is valid
  /// until this call returns; the call must not use the reader that the tag came from.
  KrvoMTGStatus (*read)(void* context, const void* data, std::uint32_t length, KrvoMTGScriptValue* value);
  /// The member with that index of an object or a named array. Behind the last one, and of another value, it leaves
  /// `member` as it is.
  KrvoMTGStatus (*member)(void* context, void* handle, std::uint32_t index, KrvoMTGScriptValue* member);
  void (*release)(void* context, void* handle);
};

// ---- Records ----

struct MTGDocInfo {
  std::uint32_t size;  // 12
  std::uint32_t hasAudio;
  std::uint32_t hasVideo;
};
static_assert(sizeof(MTGDocInfo) == 12);

struct MTGTagInfo {
  std::uint32_t size;  // 20
  /// 8 audio, 9 video, 18 and 15 script data; without the bits of the stored byte that say nothing of the kind.
  std::uint32_t type;
  /// Bytes.
  std::uint32_t dataSize;
  /// Milliseconds.
  std::uint32_t timestamp;
  std::uint32_t streamId;
};
static_assert(sizeof(MTGTagInfo) == 20);

/// What the first data byte of a video tag says.
struct MTGVideoInfo {
  std::uint32_t size;  // 12
  /// 1 is a key frame.
  std::uint32_t frameType;
  std::uint32_t codecId;
};
static_assert(sizeof(MTGVideoInfo) == 12);

/// What the first data byte of an audio tag says.
struct MTGAudioInfo {
  std::uint32_t size;  // 20
  std::uint32_t soundFormat;
  /// 0 to 3: 5.5, 11, 22 and 44 kHz.
  std::uint32_t rateIndex;
  /// 1 for samples of 16 bits, 0 for 8.
  std::uint32_t sizeBit;
  /// 1 for two channels, 0 for one.
  std::uint32_t channelBit;
};
static_assert(sizeof(MTGAudioInfo) == 20);

// ---- A file ----

/// Takes the stream and reads the header. Blocks for the bytes that are read ahead come from `allocator`, which
/// outlives the reader: 64 KiB, and as much as the largest tag whose data are looked at.
KrvoMTGStatus KrvoMTGDocOpenForRead(const KrvoMTGInputStreamCallBacks* stream,
                                    const KrvoMTGAllocatorCallBacks* allocator, KrvoMTGReader** reader);
KrvoMTGStatus KrvoMTGReleaseReader(KrvoMTGReader* reader);
/// Which kinds of tags there are. Looks at the tags, since a file that is still written may not know; of a file with
/// one kind only that is all of them.
KrvoMTGStatus KrvoMTGReaderGetDocInfo(KrvoMTGReader* reader, MTGDocInfo* info);

// ---- Tags ----

/// The tags whose timestamps, taken as signed numbers, lie from `from` to `to`, in file order or, `reversed` 1, back
/// from the end of the file. A tag that the end of the file cuts short is none; one whose back pointer alone is missing
/// is one.
KrvoMTGStatus KrvoMTGReaderGetTags(KrvoMTGReader* reader, std::int32_t from, std::int32_t to, std::uint32_t reversed,
                                   KrvoMTGTagIterator** iterator);
/// Of these, the ones with one of `typeCount` types.
KrvoMTGStatus KrvoMTGReaderGetTagsByTagTypes(KrvoMTGReader* reader, const std::uint8_t* types, std::uint32_t typeCount,
                                             std::int32_t from, std::int32_t to, std::uint32_t reversed,
                                             KrvoMTGTagIterator** iterator);
KrvoMTGStatus KrvoMTGReleaseTagIterator(KrvoMTGTagIterator* iterator);
/// `*answer` is 1 or 0. Of a stream that cannot seek the next tag is then in memory, and those before it are gone.
KrvoMTGStatus KrvoMTGTagIteratorHasMoreEntries(KrvoMTGTagIterator* iterator, std::uint32_t* answer);
KrvoMTGStatus KrvoMTGTagIteratorGetNextEntry(KrvoMTGTagIterator* iterator, KrvoMTGTag** tag);

KrvoMTGStatus KrvoMTGReleaseTag(KrvoMTGTag* tag);
KrvoMTGStatus KrvoMTGTagGetInfo(KrvoMTGTag* tag, MTGTagInfo* info);
KrvoMTGStatus KrvoMTGTagGetVideoInfo(KrvoMTGTag* tag, MTGVideoInfo* info);
KrvoMTGStatus KrvoMTGTagGetAudioInfo(KrvoMTGTag* tag, MTGAudioInfo* info);
/// Bytes of header and data.
KrvoMTGStatus KrvoMTGTagGetLength(KrvoMTGTag* tag, std::uint32_t* length);
/// Header and data as they are stored; `length` is what KrvoMTGTagGetLength answered.
KrvoMTGStatus KrvoMTGTagCopyHeaderAndData(KrvoMTGTag* tag, void* buffer, std::uint32_t length);

// ---- Script data: a name and a value. What is malformed ends the members; those in front of it are told. ----

/// Of a tag of type 18, as `script` reads it. Its context outlives all that comes from this.
KrvoMTGStatus KrvoMTGTagGetScriptData(KrvoMTGTag* tag, const KrvoMTGScriptCallBacks* script, KrvoMTGScriptData** data);
KrvoMTGStatus KrvoMTGReleaseScriptData(KrvoMTGScriptData* data);
/// A view that lives as long as `data`; empty if the data do not begin with a text.
KrvoMTGStatus KrvoMTGScriptDataGetName(KrvoMTGScriptData* data, const char** name, std::uint32_t* length);
KrvoMTGStatus KrvoMTGScriptDataGetNumber(KrvoMTGScriptData* data, double* number);
/// The members of an object or a named array; another value has none.
KrvoMTGStatus KrvoMTGScriptDataGetIterator(KrvoMTGScriptData* data, KrvoMTGScriptDataIterator** iterator);
KrvoMTGStatus KrvoMTGReleaseScriptDataIterator(KrvoMTGScriptDataIterator* iterator);
/// `*entry` is null behind the last one.
KrvoMTGStatus KrvoMTGScriptDataIteratorGetNext(KrvoMTGScriptDataIterator* iterator, KrvoMTGScriptData** entry);

}  // extern "C"
