#pragma once

#include "host/exporting/RecordedTags.h"

namespace host {

/// A file in the making, to which a recording's tags go. Without finish() the file is of no use.
class TagSink {
 public:
  virtual ~TagSink() = default;
  /// Throws CommandError where the file cannot hold the tag, or cannot be written.
  virtual void add(const RecordedTag& tag) = 0;
  virtual void finish() = 0;
};

}  // namespace host
