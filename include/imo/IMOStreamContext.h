#pragma once

#include <cstdint>

#include "imo/IMOFileContext.h"
#include "imo/export.h"

/// Levels of IMOStreamContext::log.
enum IMOLogLevel : std::uint32_t { kIMOLogError = 2, kIMOLogWarning = 3 };

/// What the host offers to an adaptor. Given to IMOCreateAdaptor and valid for the adaptor's life. Called inside the
/// host's own calls, on their threads: with several streams at the same time, also at the same time.
///
/// Callbacks of this class, of IMOStreamOpenContext and of IMOFileContext must not throw. The module catches what they
/// throw, and the operation under way fails or goes on without them. But the module has a C++ runtime of its own: it
/// ends the host's exception without the host's runtime being told, so that std::uncaught_exceptions() stays one too
/// high on that thread. And a step that is left half-way, like a write, may fail later than it had to. Failures are
/// told by the answers.
class IMO_API IMOStreamContext {
 public:
  IMOStreamContext() = default;
  virtual ~IMOStreamContext() = default;
  /// Not called.
  virtual void reserved() = 0;
  /// Copies the value of a setting, zero-terminated, into `*value`, which has room for `length` bytes. Answers 0 when
  /// copied, the size needed (above 0) when it does not fit, below 0 when there is no such key. Called for four keys
  /// while the adaptor is made, and never again.
  virtual std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) = 0;
  /// A line for the host's log. Errors come with kIMOLogError and true, warnings with kIMOLogWarning and false. `text`
  /// is valid during the call only, ends in no line break, and may contain file names.
  virtual void log(const char* text, std::uint32_t level, bool flag) = 0;
  /// The file services for one stream; asked once per open. Valid while the stream lives, never null.
  virtual IMOFileContext* fileContext() = 0;
};
