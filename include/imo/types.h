#pragma once

#include <cstdint>

/// Result of IMOStreamAdaptor::open.
enum StreamLoadStatus : std::uint32_t { kStreamOpened = 0, kStreamFailed = 1 };

/// The attribute that IMOStreamAdaptor::getAttribute returns. The host defines the meaning of the values. A recording
/// module returns the milliseconds recorded for type 2, a zero for types 1 and 3, and has no type 4.
enum AttrType_t : std::uint32_t { kAttrType1 = 1, kAttrType2 = 2, kAttrType3 = 3, kAttrType4 = 4 };

/// The host's own classes of stored media contexts; passed through.
enum ContextType_t : std::uint32_t {};

/// Bits of the `flags` of IMOStreamAdaptor::open. Other bits are ignored. kOpenAppend continues a recording that has a
/// bootstrap file, and begins a new one otherwise.
enum StreamOpenFlags : std::uint32_t { kOpenRecord = 1, kOpenAppend = 2 };

/// Place of a segment of a played stream. A recording module returns zeros.
struct SegmentBounds {
  std::uint64_t words[3];
};
