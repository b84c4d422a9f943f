#pragma once

#include <cstddef>

namespace host {

/// Why media time, frames or bytes are not in a recording.
enum class LossReason {
  /// The source was away.
  kSource,
  /// They came before the first key frame.
  kNoKeyFrame,
  /// The queue limit was reached: the disk was full or too slow.
  kQueue,
  /// The module refused them.
  kRefused,
  /// They could not be written at the end of a recording.
  kTail,
};
inline constexpr std::size_t kLossReasons = 5;

}  // namespace host
