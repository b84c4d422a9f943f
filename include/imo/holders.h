#pragma once

#include <cstdint>

#include "imo/export.h"
#include "imo/types.h"

// Callbacks that a host passes to the playback half of a stream adaptor. A recording module accepts them and never
// calls them. They have no virtual destructor: the host makes and deletes them.

/// Receives one stored media context of a stream, such as its metadata: type and time of the message, where it is valid
/// in the stream, and the payload, which is the caller's and valid during the call. `last` is true for the last one.
class IMO_API IContextHolder {
 public:
  virtual void onContext(ContextType_t type, std::uint8_t messageType, std::uint32_t time, std::int64_t position,
                         const void* data, std::uint32_t size, bool last) = 0;

 protected:
  IContextHolder() = default;
  ~IContextHolder() = default;
};

/// Receives all stored media contexts of a stream in one buffer, which is the caller's and valid during the call.
class IMO_API IAllContextHolder {
 public:
  virtual void onContexts(const void* buffer, std::uint32_t size) = 0;

 protected:
  IAllContextHolder() = default;
  ~IAllContextHolder() = default;
};

/// Receives a segment of a played stream, `size` bytes that are valid until the segment is freed, or the message that
/// there is none.
class IMO_API ISegmentHolder {
 public:
  virtual void onSegment(const SegmentBounds* bounds, const void* data, std::uint32_t size) = 0;
  virtual void onSegmentFailed(const SegmentBounds* bounds) = 0;

 protected:
  ISegmentHolder() = default;
  ~ISegmentHolder() = default;
};
