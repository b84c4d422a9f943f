#pragma once

#include <cstdint>

#include "imo/export.h"

/// The settings of one stream. Given to IMOStreamAdaptor::open and valid until close; most are read at the opening,
/// some again while the stream is recorded. Must not throw, see IMOStreamContext.
class IMO_API IMOStreamOpenContext {
 public:
  IMOStreamOpenContext() = default;
  virtual ~IMOStreamOpenContext() = default;
  /// Called by the module on the thread that opens or records the stream. The keys are those of README.md, such as
  /// "Recording/FragmentDuration"; values are texts. A key that the host does not know has its default.
  ///
  /// Copies the value of a setting, zero-terminated, into `buffer` of `size` bytes. The section is "recording". Answers
  /// 0 when copied, -1 when there is no such key, and above 0 the length needed, without the terminator, when it does
  /// not fit.
  virtual std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) = 0;
};
