#pragma once

#include "host/exporting/RecordedTags.h"

namespace host {

/// A file that is being made from the tags of a recording. Without finish() it is incomplete. Belongs to one thread.
class TagSink {
 public:
  virtual ~TagSink() = default;
  /// Adds the next tag. Throws CommandError if the format cannot have it or the file cannot be written.
  virtual void add(const RecordedTag& tag) = 0;
  /// Completes the file. Call it once, after the last tag. Throws CommandError if it cannot be written.
  virtual void finish() = 0;
};

}  // namespace host
