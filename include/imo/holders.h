#pragma once

#include <cstdint>

#include "imo/export.h"
#include "imo/types.h"

/// Receives one stored media context of a stream.
class IMO_API IContextHolder {
 public:
  virtual void onContext(ContextType_t type, std::uint8_t messageType, std::uint32_t time, std::int64_t position,
                         const void* data, std::uint32_t size, bool last) = 0;

 protected:
  IContextHolder() = default;
  ~IContextHolder() = default;
};

/// Receives all stored media contexts of a stream in one buffer.
class IMO_API IAllContextHolder {
 public:
  virtual void onContexts(const void* buffer, std::uint32_t size) = 0;

 protected:
  IAllContextHolder() = default;
  ~IAllContextHolder() = default;
};

/// Receives a segment of a played stream. Never called by a recording module.
class IMO_API ISegmentHolder {
 public:
  virtual void onSegment(const SegmentBounds* bounds, const void* data, std::uint32_t size) = 0;
  virtual void onSegmentFailed(const SegmentBounds* bounds) = 0;

 protected:
  ISegmentHolder() = default;
  ~ISegmentHolder() = default;
};
