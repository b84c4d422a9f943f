#pragma once

#include <cstdint>

#include "imo/IMOFileContext.h"
#include "imo/export.h"

/// Levels of IMOStreamContext::log.
enum IMOLogLevel : std::uint32_t { kIMOLogError = 2, kIMOLogWarning = 3 };

/// What the host offers to an adaptor. Given to IMOCreateAdaptor and valid for the adaptor's life. Called inside the
/// host's own calls, on their threads: if streams are recorded at the same time, the calls overlap.
///
/// Callbacks of this class, of IMOStreamOpenContext and of IMOFileContext must not throw. The module catches what they
/// throw, and the operation in progress fails or continues without the callback. But the module contains its own C++
/// runtime: it ends the host's exception without the knowledge of the host's runtime, so that
/// std::uncaught_exceptions() stays one too high on that thread. And a step that was interrupted, like a write, may
/// fail later than necessary. Callbacks report failures by their results.
class IMO_API IMOStreamContext {
 public:
  IMOStreamContext() = default;
  virtual ~IMOStreamContext() = default;
  /// Not called.
  virtual void reserved() = 0;
  /// Copies the value of a setting, zero-terminated, into `*value`, which has room for `length` bytes. Returns 0 if it
  /// was copied, the size needed (above 0) if it does not fit, and a number below 0 if there is no such key. Called for
  /// four keys while the adaptor is made, and never again.
  virtual std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) = 0;
  /// A line for the host's log. Errors come with kIMOLogError and true, warnings with kIMOLogWarning and false. `text`
  /// is valid during the call only, ends in no line break, and may contain file names.
  virtual void log(const char* text, std::uint32_t level, bool flag) = 0;
  /// The file services for one stream; called once for each open. Valid as long as the stream exists, never null.
  virtual IMOFileContext* fileContext() = 0;
};
