#pragma once

#include <cstdint>

#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"
#include "imo/export.h"
#include "imo/holders.h"
#include "imo/types.h"

/// What a module offers to the host: one object for all its streams. `handle` is the value that open() stored for one
/// stream.
///
/// Order: open(), record() for each message in stream order, stopRecord(), close().
///
/// Threads: the module starts none and does all its work inside the host's calls. Calls on one stream must not overlap;
/// they may come from several threads if the host orders them. Calls on different streams may run at the same time.
/// record() and stopRecord() block while files are written; if a small file cannot be replaced, for about a second.
///
/// Exceptions: no operation throws, even if a callback of the host does. Callbacks must not throw nevertheless: see
/// IMOStreamContext.
///
/// Files: the segments (`<name>Seg<N>.k2r`) are written through the file services of IMOFileContext. The module itself
/// opens, by path, all other files: `.bootstrap`, `.control`, `.meta`, `.drmmeta`, `Seg<N>.k2i` and two that end in
/// `.tmp`. It also removes an old `.k2i`. So the directory has to exist in the file system, and the process has to have
/// write access to it, even if the host's services keep the segments elsewhere.
class IMO_API IMOStreamAdaptor {
 public:
  IMOStreamAdaptor() = default;
  virtual ~IMOStreamAdaptor() = default;

  /// 256.
  virtual std::uint32_t getVersion() = 0;
  /// Opens a stream. `path` is its directory, absolute, with backslashes; its last part is the stem of all file names.
  /// `flags` has kOpenRecord set, and kOpenAppend to continue the recording that is there. Without kOpenAppend an old
  /// recording is removed first. On failure the reason is in the log and `handle` is unchanged; without kOpenRecord it
  /// fails without a reason. `userData` is not used.
  virtual StreamLoadStatus open(IMOStreamOpenContext* context, const char* path, std::uint32_t flags, void* userData,
                                void*& handle) = 0;
  /// Does nothing: a recording module has no use for the host's data.
  virtual void setUserData(void* handle, void* userData) = 0;
  /// Ends the handle, which may be null. Writes no file: a stream closed without stopRecord() stays on disk as its last
  /// fragment left it, like one whose process was killed, and can be continued.
  virtual void close(void* handle) = 0;
  /// Removes the recording from the disk, with the whole directory. Returns true if it is gone. May block for the
  /// retries that `k2r/MaxEraseRetries` sets, 50 ms each.
  virtual bool erase(void* handle) = 0;
  /// Returns 0. A stream needs memory for its queue, see record(): about one fragment of the stream.
  virtual std::uint32_t getMemoryOverhead(void* handle) = 0;
  /// Milliseconds recorded so far, in whole fragments.
  virtual std::uint32_t getDuration(void* handle) = 0;

  // The playback half of the interface. A recording module does not play: open() refuses anything but a recording, and
  // these operations return fixed values. Sizes and positions are 0, nothing is found or loaded, and no holder is
  // called.
  virtual std::int64_t getSize(void* handle) = 0;
  virtual std::int64_t getEndPosition(void* handle) = 0;
  virtual std::uint8_t getType(void* handle) = 0;
  virtual bool findSegmentByIndex(void* handle, std::int64_t index, SegmentBounds* bounds) = 0;
  virtual bool findSegmentByTime(void* handle, std::uint32_t time, SegmentBounds* bounds) = 0;
  virtual bool loadSegment(void* handle, SegmentBounds* bounds, ISegmentHolder* holder) = 0;
  virtual void onFreeSegment(void* handle, std::uint32_t id) = 0;

  /// Takes one message: `type` 8 audio, 9 video, 18 script data in AMF0, 15 in AMF3; `time` in milliseconds. The data
  /// stay the host's and are not used after the call. A new recording begins with an `onMetaData`.
  ///
  /// True: the message is kept, or recordings do not keep messages of its kind. An error in the log together with true,
  /// such as that of a segment that could not be begun, has cost no message; the next fragment retries.
  ///
  /// False: the message is lost, and the reason is in the log as an error. The stream continues. There are two kinds:
  /// - The message is refused: wrong type or codec, no data, too long, too far ahead. Sent again it is refused again.
  /// - The message came when a fragment was due, and that could not be written. The messages of that fragment are kept
  ///   for the next one, this one is not. If it is a key frame, the frames after it cannot be decoded, and may not be
  ///   written for the rest of the stream ("Tried to record fragment w/ no keyframe").
  /// So a host that wants to lose nothing sends a message for which it got false once more, at once and with the same
  /// time. Refusals then come twice. A message of the second kind is now kept, since the stream has moved on; a disk
  /// that was full for a while costs nothing. There is one exception: with "afra index is corrupt" in the log the
  /// message is kept although the result is false, but nothing will ever read it.
  ///
  /// Times: a time less than the one before is raised to it, with a warning. A jump ahead leaves numbers without a
  /// fragment, and each has an entry in the segment's index; a jump that would take the index beyond 64 MiB is refused,
  /// and the stream continues at times before it. In an append, times have to continue from the end of the recording:
  /// fragments are numbered by time. A clock that starts again at earlier times gets nothing recorded, and each
  /// fragment fails with "afra index is corrupt". Nor does a clock that has passed 2^32 ms: its times are raised, and
  /// no fragment ends any more.
  virtual bool record(void* handle, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) = 0;
  /// Sets `bounds` to zeros and returns true.
  virtual bool flushSegment(void* handle, SegmentBounds* bounds) = 0;
  /// Finishes the recording's files. To be called once, after the last record(). Messages after the last whole fragment
  /// are dropped. Returns true always; a file that could not be written is an error in the log.
  virtual bool stopRecord(void* handle) = 0;
  /// 6.
  virtual std::uint32_t getPermission() = 0;
  /// Writes the attribute to `value`. Types 1 and 2 take 4 bytes, whatever `length` says; type 3 takes 8, and if there
  /// is less room, it returns false and sets `length` to 8. Type 4 does not exist: false, and `length` becomes 0.
  virtual bool getAttribute(void* handle, AttrType_t type, void* value, std::uint32_t& length) = 0;
  /// Both return false and do not call the holder: a recording keeps no contexts.
  virtual bool getMediaContexts(void* handle, ContextType_t type, std::int64_t position, IContextHolder* holder,
                                bool all) = 0;
  virtual bool getAllMediaContexts(void* handle, IAllContextHolder* holder) = 0;
  /// Takes a command of the stream's context. Only `onTimeCoordInfo` is known. Its member "stream-absolute" is a number
  /// of seconds that is added to the times of all later messages. `messageType` is the encoding (18 AMF0, 15
  /// AMF3). The offset is not stored: a host that appends sends it again. Other commands, and data that cannot be
  /// decoded, are ignored.
  virtual void updateMediaContext(void* handle, ContextType_t type, std::uint8_t messageType, std::uint32_t time,
                                  const void* data, std::uint32_t size) = 0;
};

/// The only entry of the module. Stores a new adaptor in `*adaptor`, which the caller deletes, and returns true. On
/// failure, also if readConfiguration() throws, it stores null and returns false.
extern "C" IMO_API bool IMOCreateAdaptor(IMOStreamContext* context, IMOStreamAdaptor** adaptor);
/// The type of the entry, for dlsym.
using IMOCreateAdaptorFunction = bool (*)(IMOStreamContext* context, IMOStreamAdaptor** adaptor);
