#pragma once

#include <cstdint>

// The tag-stream library: reads files of media tags, front to back or back to front.
//
//     0  u8[3]  signature, three letters      5  u32  header size n, at least 9
//     3  u8     version 1                     n  u32  back pointer 0
//     4  u8     flags, ignored                    then tags: 11 bytes header, data, u32 back pointer
//
// Every call returns a status, 0 for success. A handle is released by the release function of its type; it keeps alive
// what it was made from, so the order of releases does not matter. All handles of one reader belong to one thread at a
// time. No exception leaves the library. After a failure the handles are still valid.

using KrvoMTGStatus = std::uint32_t;

enum KrvoMTGStatusCode : KrvoMTGStatus {
  kKrvoMTGOk = 0,
  kKrvoMTGUnknown = 1,
  /// A null pointer, a record or a buffer of the wrong size.
  kKrvoMTGBadArgument = 2,
  /// The file does not begin with three letters and version 1.
  kKrvoMTGNoTagStream = 3,
  /// It does, but the file ends within the header, or the header's size field is below 9.
  kKrvoMTGBadHeader = 4,
  /// Returned by a stream that cannot be read or moved.
  kKrvoMTGStreamFailed = 5,
  /// The offset is before the position of a stream that cannot seek.
  kKrvoMTGPassed = 6,
  /// The tag, or the value, is not of the kind that was asked about, or too short for it.
  kKrvoMTGOtherKind = 7,
  kKrvoMTGNoMoreEntries = 8,
  /// Walking back: the back pointer does not lead to a tag, as in a file whose end is cut off. The file can still be
  /// walked front to back.
  kKrvoMTGNoWayBack = 9,
  kKrvoMTGOutOfMemory = 18,
  /// A callback has thrown, which it must not do.
  kKrvoMTGForeignException = 19,
};

extern "C" {

struct KrvoMTGReader;
struct KrvoMTGTagIterator;
struct KrvoMTGTag;
struct KrvoMTGScriptData;
struct KrvoMTGScriptDataIterator;

// ---- Callbacks: `size` is the size of the record, `context` the first argument of each function. None may throw. ----

/// Memory for the bytes that are read ahead; handles come from the library's own heap. `alloc` returns null on failure.
struct KrvoMTGAllocatorCallBacks {
  std::uint32_t size;
  void* context;
  void* (*alloc)(void* context, std::uint64_t bytes);
  void (*free)(void* context, void* block);
};

/// The file, open and at its start. The library calls addReference when it takes the stream and release when it is done
/// with it; it never calls open and close, which are for the owner.
struct KrvoMTGInputStreamCallBacks {
  std::uint32_t size;
  void* context;
  /// Counts a user of the stream; each gets one release.
  KrvoMTGStatus (*addReference)(void* context);
  KrvoMTGStatus (*release)(void* context);
  /// Reads up to `count` bytes from the current position and sets `*done` to how many, 0 at the end.
  KrvoMTGStatus (*read)(void* context, void* buffer, std::uint32_t count, std::uint32_t* done);
  /// Mode 0 counts from the start, 1 from the current position, 2 from the end. A stream that refuses the first call, a
  /// move to its end, is read front to back without another call.
  KrvoMTGStatus (*seek)(void* context, std::int64_t offset, std::uint32_t mode);
  /// Bytes from the start.
  KrvoMTGStatus (*tell)(void* context, std::int64_t* position);
  KrvoMTGStatus (*open)(void* context);
  KrvoMTGStatus (*close)(void* context);
};

/// A named value of script data, as the caller has read it.
struct KrvoMTGScriptValue {
  /// The caller's, not null. The library returns it through KrvoMTGScriptCallBacks::release, once.
  void* handle;
  /// A view, valid as long as `handle`.
  const char* name;
  std::uint32_t nameLength;
  /// 1 if the value is a number.
  std::uint32_t isNumber;
  double number;
};

/// The caller's reader of script data. The library has none: see docs/decisions.md, "There is one reader of script
/// data". A handle stays valid until its own release, whatever else is released before.
struct KrvoMTGScriptCallBacks {
  std::uint32_t size;
  void* context;
  /// Sets `value` to the text at the start of a tag's data, as its name (empty if that is no text), and the value after
  /// it. `data` is valid during the call only; the call must not use the reader that the tag came from.
  KrvoMTGStatus (*read)(void* context, const void* data, std::uint32_t length, KrvoMTGScriptValue* value);
  /// Sets `member` to the member with that index of an object or a named array. After the last one, and for any other
  /// value, it leaves `member` unchanged.
  KrvoMTGStatus (*member)(void* context, void* handle, std::uint32_t index, KrvoMTGScriptValue* member);
  /// Takes back the handle of a KrvoMTGScriptValue, once.
  void (*release)(void* context, void* handle);
};

// ---- Records: the caller sets `size` before the call; another size is kKrvoMTGBadArgument. ----

/// 1 if the file has tags of the kind, else 0.
struct MTGDocInfo {
  std::uint32_t size;  // 12
  std::uint32_t hasAudio;
  std::uint32_t hasVideo;
};
static_assert(sizeof(MTGDocInfo) == 12);

/// The fields of the 11 bytes of a tag header (util/tagHeader.h).
struct MTGTagInfo {
  std::uint32_t size;  // 20
  /// 8 audio, 9 video, 18 and 15 script data; without the bits of the stored byte beside the kind.
  std::uint32_t type;
  /// Bytes.
  std::uint32_t dataSize;
  /// Milliseconds.
  std::uint32_t timestamp;
  std::uint32_t streamId;
};
static_assert(sizeof(MTGTagInfo) == 20);

/// The fields of the first data byte of a video tag.
struct MTGVideoInfo {
  std::uint32_t size;  // 12
  /// 1 is a key frame.
  std::uint32_t frameType;
  /// As the low four bits have it: 2 Sorenson H.263, 4 and 5 VP6, 7 AVC.
  std::uint32_t codecId;
};
static_assert(sizeof(MTGVideoInfo) == 12);

/// The fields of the first data byte of an audio tag.
struct MTGAudioInfo {
  std::uint32_t size;  // 20
  /// As the high four bits have it: 2 MP3, 4 to 6 Nellymoser, 10 AAC, 11 Speex.
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

/// Takes the stream and reads the header. The bytes that are read ahead are in blocks of `allocator`, whose context
/// must outlive the reader: 64 KiB, and as much as the largest tag whose data are read. The stream is at its start. A
/// reader with its iterators and tags belongs to one thread at a time.
KrvoMTGStatus KrvoMTGDocOpenForRead(const KrvoMTGInputStreamCallBacks* stream,
                                    const KrvoMTGAllocatorCallBacks* allocator, KrvoMTGReader** reader);
KrvoMTGStatus KrvoMTGReleaseReader(KrvoMTGReader* reader);
/// Says which kinds of tags there are. Reads tag headers until both kinds are found, since the flags of a file that is
/// still being written may be wrong; of a file with one kind it reads all of them.
KrvoMTGStatus KrvoMTGReaderGetDocInfo(KrvoMTGReader* reader, MTGDocInfo* info);

// ---- Tags ----

/// Makes an iterator over the tags whose timestamps, in milliseconds and compared as signed numbers, are from `from` to
/// `to`, both included; in file order or, if `reversed` is 1, from the end of the file back. A tag whose data are cut
/// off by the end of the file is left out; one that lacks only its back pointer is not.
KrvoMTGStatus KrvoMTGReaderGetTags(KrvoMTGReader* reader, std::int32_t from, std::int32_t to, std::uint32_t reversed,
                                   KrvoMTGTagIterator** iterator);
/// The same with the tags of `typeCount` types only; with none there are no tags.
KrvoMTGStatus KrvoMTGReaderGetTagsByTagTypes(KrvoMTGReader* reader, const std::uint8_t* types, std::uint32_t typeCount,
                                             std::int32_t from, std::int32_t to, std::uint32_t reversed,
                                             KrvoMTGTagIterator** iterator);
KrvoMTGStatus KrvoMTGReleaseTagIterator(KrvoMTGTagIterator* iterator);
/// Sets `*answer` to 1 or 0. Of a stream that cannot seek the next tag is in memory afterwards, and the data of the
/// tags before it cannot be read any more.
KrvoMTGStatus KrvoMTGTagIteratorHasMoreEntries(KrvoMTGTagIterator* iterator, std::uint32_t* answer);
/// The tag is a handle that may outlive the iterator. Returns kKrvoMTGNoMoreEntries after the last one.
KrvoMTGStatus KrvoMTGTagIteratorGetNextEntry(KrvoMTGTagIterator* iterator, KrvoMTGTag** tag);

/// Each release takes one handle, which is invalid from then on. The order does not matter.
KrvoMTGStatus KrvoMTGReleaseTag(KrvoMTGTag* tag);
/// From the header, so without reading the stream.
KrvoMTGStatus KrvoMTGTagGetInfo(KrvoMTGTag* tag, MTGTagInfo* info);
/// Both return kKrvoMTGOtherKind for a tag of another type and for one without data.
KrvoMTGStatus KrvoMTGTagGetVideoInfo(KrvoMTGTag* tag, MTGVideoInfo* info);
KrvoMTGStatus KrvoMTGTagGetAudioInfo(KrvoMTGTag* tag, MTGAudioInfo* info);
/// Sets `*length` to the bytes of header and data.
KrvoMTGStatus KrvoMTGTagGetLength(KrvoMTGTag* tag, std::uint32_t* length);
/// Copies header and data as they are stored; `length` is the one of KrvoMTGTagGetLength. Another length is
/// kKrvoMTGBadArgument. Returns kKrvoMTGStreamFailed if the file has become shorter.
KrvoMTGStatus KrvoMTGTagCopyHeaderAndData(KrvoMTGTag* tag, void* buffer, std::uint32_t length);
/// Sets `*bytes` to header and data, KrvoMTGTagGetLength bytes, without a copy: they are valid until the next call for
/// any handle of the same reader, except a release. Returns kKrvoMTGStreamFailed if the file has become shorter.
KrvoMTGStatus KrvoMTGTagViewHeaderAndData(KrvoMTGTag* tag, const void** bytes);

// ---- Script data: a name and a value. Malformed data end the members; those before the fault are returned. ----

/// Reads the data of a tag of type 18 with `script`, whose context must outlive all handles made from the result.
/// Returns kKrvoMTGOtherKind for a tag of another type.
KrvoMTGStatus KrvoMTGTagGetScriptData(KrvoMTGTag* tag, const KrvoMTGScriptCallBacks* script, KrvoMTGScriptData** data);
KrvoMTGStatus KrvoMTGReleaseScriptData(KrvoMTGScriptData* data);
/// Sets `*name` to a view that is valid as long as `data`; empty if the data do not begin with a text.
KrvoMTGStatus KrvoMTGScriptDataGetName(KrvoMTGScriptData* data, const char** name, std::uint32_t* length);
/// Returns kKrvoMTGOtherKind for a value that is no number.
KrvoMTGStatus KrvoMTGScriptDataGetNumber(KrvoMTGScriptData* data, double* number);
/// Makes an iterator over the members of an object or a named array; any other value has none.
KrvoMTGStatus KrvoMTGScriptDataGetIterator(KrvoMTGScriptData* data, KrvoMTGScriptDataIterator** iterator);
KrvoMTGStatus KrvoMTGReleaseScriptDataIterator(KrvoMTGScriptDataIterator* iterator);
/// Sets `*entry` to the next member, or to null after the last one.
KrvoMTGStatus KrvoMTGScriptDataIteratorGetNext(KrvoMTGScriptDataIterator* iterator, KrvoMTGScriptData** entry);

}  // extern "C"
