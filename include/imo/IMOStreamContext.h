#pragma once

#include <cstdint>

#include "imo/IMOFileContext.h"
#include "imo/export.h"

/// Levels of IMOStreamContext::log.
enum IMOLogLevel : std::uint32_t { kIMOLogError = 2, kIMOLogWarning = 3 };

/// What the host offers to an adaptor. Given to IMOCreateAdaptor and valid for the adaptor's life.
class IMO_API IMOStreamContext {
 public:
  IMOStreamContext() = default;
  virtual ~IMOStreamContext() = default;
  /// Not called.
  virtual void reserved() = 0;
  /// Copies the value of a setting, zero-terminated, into `*value`, which has room for `length` bytes. Answers 0 when
  /// copied, the size needed (above 0) when it does not fit, below 0 when there is no such key.
  virtual std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) = 0;
  /// A line for the host's log. Errors come with kIMOLogError and true, warnings with kIMOLogWarning and false.
  virtual void log(const char* text, std::uint32_t level, bool flag) = 0;
  /// The file services for one stream; asked once per open. Valid while the stream lives.
  virtual IMOFileContext* fileContext() = 0;
};
