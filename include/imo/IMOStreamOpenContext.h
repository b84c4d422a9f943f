#pragma once

#include <cstdint>

#include "imo/export.h"

/// The settings of one stream. Given to IMOStreamAdaptor::open and valid until close; most are read while the stream is
/// opened, some again while it is recorded. Must not throw, see IMOStreamContext.
class IMO_API IMOStreamOpenContext {
 public:
  IMOStreamOpenContext() = default;
  virtual ~IMOStreamOpenContext() = default;
  /// Called by the module on the thread that opens or records the stream. The keys are those of README.md, such as
  /// "Recording/FragmentDuration"; values are texts. A key that the host does not know has its default.
  ///
  /// Copies the value of a setting, zero-terminated, into `buffer` of `size` bytes. The section is "recording". Returns
  /// 0 if it was copied, -1 if there is no such key, and the length needed (above 0, without the terminator) if it does
  /// not fit.
  virtual std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) = 0;
};
