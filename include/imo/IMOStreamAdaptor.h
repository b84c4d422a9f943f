#pragma once

#include <cstdint>

#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"
#include "imo/export.h"
#include "imo/holders.h"
#include "imo/types.h"

/// What a module offers to the host: one object for all its streams. `handle` is what open() gave for one stream. Calls
/// on one stream must not overlap; calls on different streams may. No operation lets an exception out.
///
/// The order for a recording: open(), record() for each message in stream order, stopRecord(), close().
class IMO_API IMOStreamAdaptor {
 public:
  IMOStreamAdaptor() = default;
  virtual ~IMOStreamAdaptor() = default;

  /// 256.
  virtual std::uint32_t getVersion() = 0;
  /// Opens a stream. `path` is its directory, absolute, with backslashes; the directory's name names the files.
  /// `flags` has kOpenRecord set, and kOpenAppend to continue what is there. On failure the reason is in the log and
  /// `handle` is left as it was.
  virtual StreamLoadStatus open(IMOStreamOpenContext* context, const char* path, std::uint32_t flags, void* userData,
                                void*& handle) = 0;
  virtual void setUserData(void* handle, void* userData) = 0;
  /// Ends the handle, which may be null. Touches no file: a stream closed without stopRecord() stays as it lies.
  virtual void close(void* handle) = 0;
  /// Removes the recording from the disk. True when it is gone.
  virtual bool erase(void* handle) = 0;
  virtual std::uint32_t getMemoryOverhead(void* handle) = 0;
  /// Milliseconds recorded so far, in whole fragments.
  virtual std::uint32_t getDuration(void* handle) = 0;
  virtual std::int64_t getSize(void* handle) = 0;
  virtual std::int64_t getEndPosition(void* handle) = 0;
  virtual std::uint8_t getType(void* handle) = 0;
  virtual bool findSegmentByIndex(void* handle, std::int64_t index, SegmentBounds* bounds) = 0;
  virtual bool findSegmentByTime(void* handle, std::uint32_t time, SegmentBounds* bounds) = 0;
  virtual bool loadSegment(void* handle, SegmentBounds* bounds, ISegmentHolder* holder) = 0;
  virtual void onFreeSegment(void* handle, std::uint32_t id) = 0;
  /// Takes one message: `type` 8 audio, 9 video, 18 script data in AMF0, 15 in AMF3; `time` in milliseconds. The data
  /// stay the host's and are not kept beyond the call. False when the message was refused, with the reason in the log;
  /// the stream goes on.
  virtual bool record(void* handle, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) = 0;
  virtual bool flushSegment(void* handle, SegmentBounds* bounds) = 0;
  /// Finishes the recording's files. To be called once, after the last record().
  virtual bool stopRecord(void* handle) = 0;
  /// 6.
  virtual std::uint32_t getPermission() = 0;
  /// Writes the attribute at `value`, which has room for `length` bytes. False where there is none or no room.
  virtual bool getAttribute(void* handle, AttrType_t type, void* value, std::uint32_t& length) = 0;
  virtual bool getMediaContexts(void* handle, ContextType_t type, std::int64_t position, IContextHolder* holder,
                                bool all) = 0;
  virtual bool getAllMediaContexts(void* handle, IAllContextHolder* holder) = 0;
  /// A command message for the stream's context, such as its time offset. Answered by nothing.
  virtual void updateMediaContext(void* handle, ContextType_t type, std::uint8_t messageType, std::uint32_t time,
                                  const void* data, std::uint32_t size) = 0;
};

/// The module's one entry. Stores a new adaptor, which the caller deletes, through `adaptor`; null and false on
/// failure.
extern "C" IMO_API bool IMOCreateAdaptor(IMOStreamContext* context, IMOStreamAdaptor** adaptor);
/// The type of the entry, for dlsym.
using IMOCreateAdaptorFunction = bool (*)(IMOStreamContext* context, IMOStreamAdaptor** adaptor);
