#pragma once

#include <string>

namespace host::serve {

/// Suffix of a recording's directory while its files are removed, so that an interruption cannot leave a recording of
/// which a part is missing.
inline constexpr char kRemovedSuffix[] = ".removed";

enum class RemovalResult {
  /// It is gone from its name, or was already. finishRemovals() removes what may be left of it.
  kDone,
  /// A process is writing it.
  kInUse,
  /// It contains what is no file of it, or cannot be renamed. Nothing was changed.
  kRefused,
};

/// Removes the recording in `folder`, a native path, all or nothing: it is not there any more from the first moment on.
/// Files that are open stay readable. Durable. On kRefused errno may have the reason.
RemovalResult removeRecordingOf(const std::string& folder, const std::string& recording);

/// Completes what an interruption left of removals in `folder`. Never touches what is not a recording's.
void finishRemovals(const std::string& folder);

}  // namespace host::serve
