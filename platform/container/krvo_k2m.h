#pragma once

#include <cstdint>

// The container library: writes and continues segment files, which are fragmented movies (ISO/IEC 14496-12, 8.8), and
// reads their tracks and samples.
//
// Every call returns a status, 0 for success. A handle that a call gives out belongs to the caller, who ends it with
// the matching release. A writer belongs to one thread, like a reader with its iterators and samples. No exception
// leaves the library.
//
// Any call returns kKrvoBadArgument for a null handle, a null pointer to a result or a record of the wrong size, and
// kKrvoOutOfMemory; the comments below name the other failures. A result is written only on success, except that an
// iterator at its end gives a null handle.
//
//     KrvoK2RDocCreateNew(&stream, &doc, &allocator, &writer)       a new segment
//     KrvoK2RWriterGetK2MWriterRef(writer, &tracks)
//     KrvoK2MWriterAddTrack(tracks, ...), then at least one description for each track
//     KrvoK2RWriterAddHintTrack(writer, ...), and its description
//     KrvoK2RWriterStartFragment(writer, &position)                 writes the header
//     KrvoK2RWriterAddABST, KrvoK2RWriterAddHintSample, ...         a fragment
//     KrvoK2RWriterStartFragment(writer, &position)                 writes it
//     KrvoK2MDestroyWriter(writer)                                  ends the file

using KrvoStatus = std::uint32_t;

enum KrvoStatusCode : KrvoStatus {
  kKrvoOk = 0,
  /// Something that is no exception of the C++ library was thrown.
  kKrvoUnknown = 1,
  /// A null pointer, a record of the wrong size, a call out of order.
  kKrvoBadArgument = 2,
  /// The stream wrote fewer bytes than it was given.
  kKrvoWriteFailed = 3,
  /// The stream returned fewer bytes than requested.
  kKrvoReadFailed = 4,
  /// The file is malformed.
  kKrvoMalformed = 5,
  /// A number does not fit its field: a fragment or a box beyond the limits of the format.
  kKrvoTooLarge = 6,
  /// The warning handler asked to stop.
  kKrvoStopped = 7,
  /// Also for a length in a file or a record that no memory could take.
  kKrvoOutOfMemory = 18,
  /// A failure that has no status of its own.
  kKrvoForeignException = 19,
  /// A date with a field out of its range.
  kKrvoBadDate = 20,
};

extern "C" {

/// The objects to which handles point. A track or description that is released stays in its segment.
struct KrvoK2RWriter;
struct KrvoK2MWriter;
struct KrvoK2MTrack;
struct KrvoK2MSampleDescriptor;
struct KrvoK2MTrackIterator;
struct KrvoK2MSampleDescriptorIterator;
struct KrvoK2MReader;
struct KrvoK2MSampleIterator;
struct KrvoK2MSample;

// ---- Callbacks: `size` is the size of the record, `context` the first argument of each function. ----

/// Memory for the writer's own buffers. Both functions are required; `alloc` returns null if there is no memory, and
/// `free` gets each block once. The callbacks must stay valid until the writer is destroyed, and must not call the
/// library.
struct KrvoK2MAllocatorCallBacks {
  std::uint32_t size;
  void* context;
  /// A block of so many bytes; its content does not matter.
  void* (*alloc)(void* context, std::uint64_t bytes);
  void (*free)(void* context, void* block);
};

/// The segment file. The library calls addReference and open when it takes the stream, and release when it is done with
/// it. A callback returns 0 or a status, which the call in progress then returns, too.
struct KrvoK2MIOStreamCallBacks {
  std::uint32_t size;
  void* context;
  /// All nine are required. None is called after release.
  /// Counts a user of the stream; each gets one release.
  KrvoStatus (*addReference)(void* context);
  KrvoStatus (*release)(void* context);
  KrvoStatus (*open)(void* context);
  KrvoStatus (*close)(void* context);
  /// Reads up to `count` bytes from the current position; `*done` is their number. Fewer than requested are read on
  /// with another call; 0 is a failure.
  KrvoStatus (*read)(void* context, void* buffer, std::uint64_t count, std::uint64_t* done);
  /// `mode` is 0 from the start, 1 from the current position, 2 from the end.
  KrvoStatus (*seek)(void* context, std::int64_t offset, std::uint32_t mode);
  /// Sets `*position` to the current position, in bytes from the start.
  KrvoStatus (*tell)(void* context, std::uint64_t* position);
  /// At the current position. Fewer bytes than `count` are no failure: the library writes the rest with another call. A
  /// call of 1 GiB at most, since hosts count bytes in 31 bits.
  KrvoStatus (*write)(void* context, const void* buffer, std::uint64_t count, std::uint64_t* done);
  /// Passes on to the file what the stream buffers, if it does. It need not wait for the device.
  KrvoStatus (*flush)(void* context);
};

enum KrvoWarningCode : std::uint32_t {
  /// After the last fragment there are bytes that are no `mfra` (8.8.9): a crash left them. They will be overwritten.
  kKrvoWarnLeftover = 1,
};

struct KrvoK2MWarningHandlerCallBacks {
  std::uint32_t size;
  void* context;
  /// `*answer` is 1 to continue, 0 to stop.
  KrvoStatus (*warning)(void* context, std::uint32_t code, std::uint32_t* answer);
};

// ---- Records. The widths are fixed. ----

/// A time of day in UTC. A field out of range is refused with kKrvoBadDate.
struct K2MDate {
  std::uint8_t size;   // 8
  std::uint8_t day;    // 1 to 31
  std::uint8_t month;  // 1 to 12
  std::uint8_t reserved0;
  std::uint16_t year;  // 1904 to 9999
  std::uint8_t hour;
  std::uint8_t minute;
  std::uint8_t second;
  std::uint8_t reserved1;
};
static_assert(sizeof(K2MDate) == 10);

/// The movie as a whole: what `mvhd` contains (8.2.2).
struct K2MDocInfo {
  std::uint32_t size;  // 48
  std::uint32_t version;
  K2MDate created;
  K2MDate modified;
  float rate;
  float volume;
  std::uint32_t timescale;
  std::uint64_t duration;  // in timescale
};
static_assert(sizeof(K2MDocInfo) == 48);

/// Three letters of ISO 639-2 and a zero byte.
using KrvoK2MLanguage = char[4];

/// A track: what `tkhd`, `mdhd` and `hdlr` contain (8.3.2, 8.4.2, 8.4.3).
struct K2MTrackInfo {
  std::uint32_t size;  // 72
  std::uint32_t handlerType;
  std::uint32_t flags;
  std::uint32_t timescale;
  K2MDate created;
  K2MDate modified;
  std::uint64_t duration;  // in timescale
  float width;             // pixels; values below 0 or above 65535 are stored as the nearest of these
  float height;
  float volume;
  KrvoK2MLanguage language;
  /// Filled when a track is read, counting the terminating zero. Ignored when a track is added.
  std::uint32_t handlerNameLength;
  std::uint32_t reserved;
};
static_assert(sizeof(K2MTrackInfo) == 72);

/// Not stored: files have no field for these numbers. When they are read, the values are 1, 1000 and the length of the
/// first description's codec header.
struct K2MEntriesInfo {
  std::uint32_t size;  // 16
  std::uint32_t values[3];
};
static_assert(sizeof(K2MEntriesInfo) == 16);

/// A sample: what a `trun` contains of it (8.8.8). `time` counts from the start of the recording, over all its
/// segments.
struct K2MSampleInfo {
  std::uint32_t size;    // 32
  std::uint32_t length;  // bytes of the sample
  std::uint64_t time;
  std::uint32_t timescale;
  std::uint32_t compositionOffset;  // a signed number of timescale units
  std::uint32_t sampleType;
  std::uint32_t flags;  // low byte 1: a sync sample
};
static_assert(sizeof(K2MSampleInfo) == 32);

/// The part of a hint sample that is the media sample, in bytes from the start of the data buffer.
struct K2MMediaRange {
  std::uint32_t reserved;
  std::uint32_t offset;
  std::uint32_t length;
};

/// A hint sample and the media sample in it.
struct K2MHintInfo {
  K2MSampleInfo sample;
  K2MMediaRange media;
};

/// A sample description (8.5.2).
struct K2MDescriptorInfo {
  std::uint32_t size;  // of the whole record, 16 for this plain form
  std::uint32_t codecHeaderLength;
  std::uint32_t formatCode;
  std::uint32_t handlerCode;
};
static_assert(sizeof(K2MDescriptorInfo) == 16);

/// With the fields of a `VisualSampleEntry` (12.1.3).
struct K2MVideoDescriptorInfo {
  K2MDescriptorInfo base;
  std::uint32_t width;  // pixels; stored as 65535 from there on
  std::uint32_t height;
  float horizontalResolution;  // dots per inch
  float verticalResolution;
  std::uint16_t frameCount;
  std::uint16_t depth;
};

/// With the fields of an `AudioSampleEntry` (12.2.3).
struct K2MAudioDescriptorInfo {
  K2MDescriptorInfo base;
  float sampleRate;  // stored as 0 from 65536 on; decoders then take it from the codec header
  std::uint32_t channels;
  std::uint32_t bytesPerSample;  // 0 if unknown, which is stored as 2
};

/// With the fields of a `HintSampleEntry` of tags (12.4.3).
struct K2MRtmpDescriptorInfo {
  K2MDescriptorInfo base;
  std::uint16_t hintTrackVersion;
  std::uint16_t highestCompatibleVersion;
  std::uint16_t maximumPacketSize;
};

/// Bytes that the caller hands over. The library calls `free`, unless it is null, once with `context` when it no longer
/// needs them, also if the call that was given them fails; but not for a record of the wrong size, whose fields it
/// cannot trust. `free` must not call the library.
struct KrvoK2MDataBuffer {
  std::uint32_t size;  // 32
  const void* data;
  void* context;
  void (*free)(void* context);
};
static_assert(sizeof(KrvoK2MDataBuffer) == 32);

// ---- A new segment ----

/// Opens the stream. Nothing is written before the first fragment is started. A writer takes blocks from `allocator` to
/// gather small pieces for one write; between fragments it keeps at most one of up to 256 KiB. Returns kKrvoBadDate for
/// the dates of `info`, and what the stream returns.
KrvoStatus KrvoK2RDocCreateNew(const KrvoK2MIOStreamCallBacks* stream, const K2MDocInfo* info,
                               const KrvoK2MAllocatorCallBacks* allocator, KrvoK2RWriter** writer);
/// The part of the writer that has the tracks. A view: valid as long as the writer, not to be released.
KrvoStatus KrvoK2RWriterGetK2MWriterRef(KrvoK2RWriter* writer, KrvoK2MWriter** k2m);
/// Tracks are added before the first fragment is started. `name` is zero-terminated, or null; `interleave` is not used.
/// An empty language becomes "und". Returns kKrvoBadArgument after the start of the first fragment, for a handler type
/// other than `vide`, `soun` and `meta`, for a timescale of 0, flags of more than 24 bits and a language that is not
/// three lower-case letters.
KrvoStatus KrvoK2MWriterAddTrack(KrvoK2MWriter* writer, const K2MTrackInfo* info, const K2MEntriesInfo* entries,
                                 std::uint32_t interleave, const char* name, KrvoK2MTrack** track);
/// Each adds a sample description (8.5.2) with `info->codecHeaderLength` bytes of codec header, which may be 0 with a
/// null buffer. The kind of the track must be that of the call: `vide`, `soun`, `hint`, and `meta` for the last one.
/// Returns kKrvoTooLarge for a codec header above 256 MiB, kKrvoBadArgument after the start of the first fragment.
KrvoStatus KrvoK2MWriterAddVideoSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                                 const K2MVideoDescriptorInfo* info,
                                                 const KrvoK2MDataBuffer* codecHeader,
                                                 KrvoK2MSampleDescriptor** descriptor);
KrvoStatus KrvoK2MWriterAddAudioSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                                 const K2MAudioDescriptorInfo* info,
                                                 const KrvoK2MDataBuffer* codecHeader,
                                                 KrvoK2MSampleDescriptor** descriptor);
KrvoStatus KrvoK2MWriterAddRtmpSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                                const K2MRtmpDescriptorInfo* info, const KrvoK2MDataBuffer* codecHeader,
                                                KrvoK2MSampleDescriptor** descriptor);
KrvoStatus KrvoK2MWriterAddSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track, const K2MDescriptorInfo* info,
                                            const KrvoK2MDataBuffer* codecHeader, KrvoK2MSampleDescriptor** descriptor);
/// `hintType` is 2. `mediaTracks` are the tracks that the hint track refers to (`tref`, 8.3.3). Their handles are of
/// this writer. Returns kKrvoBadArgument for a second hint track: all tags of a fragment form one sequence.
KrvoStatus KrvoK2RWriterAddHintTrack(KrvoK2RWriter* writer, std::uint32_t hintType, const K2MTrackInfo* info,
                                     const K2MEntriesInfo* entries, std::uint32_t reserved, const char* name,
                                     KrvoK2MTrack* const* mediaTracks, std::uint32_t mediaTrackCount,
                                     KrvoK2MTrack** track);

// ---- An existing segment ----

/// Opens the stream to continue after the fragment whose `afra` box is at `position`; the values 0 and all ones mean
/// for the last whole fragment. Bytes after that are overwritten. `scratch` is null. `warnings` may be null. Returns
/// kKrvoMalformed for a file that is no segment, for a position without a whole fragment and for a last box without a
/// size; kKrvoStopped if the warning handler stops, and nothing is changed then.
KrvoStatus KrvoK2RDocOpenForAppend(const KrvoK2MIOStreamCallBacks* stream,
                                   const KrvoK2MWarningHandlerCallBacks* warnings,
                                   const KrvoK2MAllocatorCallBacks* allocator, std::uint64_t position, void* scratch,
                                   KrvoK2RWriter** writer);
/// The description that the next samples of `track` get. It must be one of the track's.
KrvoStatus KrvoK2MWriterSetSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                            KrvoK2MSampleDescriptor* descriptor);

// ---- Reading tracks back ----

/// Iterators give the tracks in the order of the `moov`, which is that in which they were added. Every track that one
/// gives is a new handle on a shared object: it is released by itself, and may outlive iterator and writer.
KrvoStatus KrvoK2MWriterGetTracks(KrvoK2MWriter* writer, KrvoK2MTrackIterator** iterator);
/// `*track` is null after the last one.
KrvoStatus KrvoK2MTrackIteratorGetNext(KrvoK2MTrackIterator* iterator, KrvoK2MTrack** track);
KrvoStatus KrvoK2MReleaseTrackIterator(KrvoK2MTrackIterator* iterator);
/// Fills `info`, whose `size` the caller has set.
KrvoStatus KrvoK2MTrackGetInfo(KrvoK2MTrack* track, K2MTrackInfo* info);
KrvoStatus KrvoK2MTrackGetEntriesInfo(KrvoK2MTrack* track, K2MEntriesInfo* info);
/// From the `stsz` (8.7.3.2) of the header: 0 in segments of ours, whose samples are all in fragments.
KrvoStatus KrvoK2MTrackGetSampleCount(KrvoK2MTrack* track, std::uint32_t* count);
/// In the order of the `stsd` (8.5.2).
KrvoStatus KrvoK2MTrackGetSampleDescriptors(KrvoK2MTrack* track, KrvoK2MSampleDescriptorIterator** iterator);
/// `*descriptor` is null after the last one.
KrvoStatus KrvoK2MSampleDescriptorIteratorGetNext(KrvoK2MSampleDescriptorIterator* iterator,
                                                  KrvoK2MSampleDescriptor** descriptor);
KrvoStatus KrvoK2MReleaseSampleDescriptorIterator(KrvoK2MSampleDescriptorIterator* iterator);
/// The plain form works for every description. Each of the others returns kKrvoBadArgument for a description of another
/// kind.
KrvoStatus KrvoK2MSampleDescriptorGetInfo(KrvoK2MSampleDescriptor* descriptor, K2MDescriptorInfo* info);
KrvoStatus KrvoK2MSampleDescriptorGetVideoInfo(KrvoK2MSampleDescriptor* descriptor, K2MVideoDescriptorInfo* info);
KrvoStatus KrvoK2MSampleDescriptorGetAudioInfo(KrvoK2MSampleDescriptor* descriptor, K2MAudioDescriptorInfo* info);
KrvoStatus KrvoK2MSampleDescriptorGetRtmpInfo(KrvoK2MSampleDescriptor* descriptor, K2MRtmpDescriptorInfo* info);
/// Copies the codec header; `length` must be `codecHeaderLength` of the description's info.
KrvoStatus KrvoK2MSampleDescriptorCopyCodecHeaderData(KrvoK2MSampleDescriptor* descriptor, void* buffer,
                                                      std::uint32_t length);
KrvoStatus KrvoK2MReleaseTrack(KrvoK2MTrack* track);
KrvoStatus KrvoK2MReleaseSampleDescriptor(KrvoK2MSampleDescriptor* descriptor);

// ---- Reading samples back ----

/// Opens the stream and reads the header. Writes nothing. The stream is released together with the last of the reader,
/// its sample iterators and their samples. Returns kKrvoMalformed for a file whose first boxes are not `ftyp` and
/// `moov`.
KrvoStatus KrvoK2RDocOpenForRead(const KrvoK2MIOStreamCallBacks* stream, KrvoK2MReader** reader);
KrvoStatus KrvoK2MReaderGetTracks(KrvoK2MReader* reader, KrvoK2MTrackIterator** iterator);
/// The samples of `track`, in the order of the fragments. One fragment at a time is in memory, without its samples.
/// `track` is a handle that this reader gave.
KrvoStatus KrvoK2MReaderGetSamples(KrvoK2MReader* reader, KrvoK2MTrack* track, KrvoK2MSampleIterator** iterator);
/// `*sample` is null after the last one. Returns kKrvoMalformed at a box or fragment that is malformed or not whole;
/// the iterator then stays before it.
KrvoStatus KrvoK2MSampleIteratorGetNext(KrvoK2MSampleIterator* iterator, KrvoK2MSample** sample);
/// Time and composition offset are in the track's timescale; the sample type is the track's handler type.
KrvoStatus KrvoK2MSampleGetInfo(KrvoK2MSample* sample, K2MSampleInfo* info);
/// The sample's description, which need not be the first one of its track.
KrvoStatus KrvoK2MSampleGetSampleDescriptor(KrvoK2MSample* sample, KrvoK2MSampleDescriptor** descriptor);
/// Copies the sample's bytes from the stream; `length` must be that of the sample's info.
KrvoStatus KrvoK2MSampleCopyData(KrvoK2MSample* sample, void* buffer, std::uint32_t length);
KrvoStatus KrvoK2MReleaseReader(KrvoK2MReader* reader);
KrvoStatus KrvoK2MReleaseSampleIterator(KrvoK2MSampleIterator* iterator);
KrvoStatus KrvoK2MReleaseSample(KrvoK2MSample* sample);

// ---- Fragments ----

/// Writes the open fragment, if it has content, and begins the next one; `*position` is the offset of the first byte
/// that the next one will have. If writing fails, the content of the open fragment is dropped, and the fragment stays
/// open at the same position: content that is added again overwrites what the failure left in the file. The first call
/// writes the header, and returns kKrvoBadArgument for a segment without tracks or a track without a description.
/// Returns kKrvoTooLarge if a number of the fragment does not fit its field.
KrvoStatus KrvoK2RWriterStartFragment(KrvoK2RWriter* writer, std::uint64_t* position);
/// Begins the content of the open fragment with the body of its `abst` box, at least one byte, which stays in place
/// until the call that ends the fragment. Comes before the samples; content that an earlier attempt added is dropped.
KrvoStatus KrvoK2RWriterAddABST(KrvoK2RWriter* writer, const KrvoK2MDataBuffer* box, std::uint32_t length);
/// Adds one tag: a sample of `hintTrack`, and its part `media` as a sample of `mediaTrack`. If `randomAccess` is not 0,
/// the fragment's `afra` gets an entry. `data` is the tag, whose length is that of `info`; its bytes stay in place
/// until the fragment is written or dropped. A media part of 0 bytes adds no media sample. Returns kKrvoBadArgument
/// before KrvoK2RWriterAddABST, and for a part that is not inside the tag; kKrvoTooLarge for a time or a composition
/// offset that does not fit.
KrvoStatus KrvoK2RWriterAddHintSample(KrvoK2RWriter* writer, KrvoK2MTrack* hintTrack, KrvoK2MTrack* mediaTrack,
                                      const KrvoK2MDataBuffer* data, const K2MSampleInfo* info,
                                      const K2MMediaRange* media, std::uint32_t randomAccess);
/// Adds one tag that is only a sample of `track`, the hint track.
KrvoStatus KrvoK2RWriterAddSampleWithAfra(KrvoK2RWriter* writer, KrvoK2MTrack* track, const KrvoK2MDataBuffer* data,
                                          const K2MSampleInfo* info, std::uint32_t randomAccess);

// ---- The end ----

/// Calls flush of the stream. The open fragment stays in memory.
KrvoStatus KrvoK2MWriterFlush(KrvoK2MWriter* writer);
/// Drops the open fragment, writes the `mfra` (8.8.9) and releases the stream. The writer is gone even if this fails.
/// If the table cannot be written, a `free` box covers what there is of it.
KrvoStatus KrvoK2MDestroyWriter(KrvoK2RWriter* writer);

}  // extern "C"
