#pragma once

#include <cstdint>

namespace qvs::k2r {

/// The adaptor's own settings. They are read once, when it is made; each stream gets a copy when it is opened.
/// Only `maxEraseRetries` has an effect: the others are accepted so that a host's configuration stays valid.
struct K2RConfig {
  bool enableAggregateMessages = true;
  /// Bytes.
  std::uint32_t maxAggregateMessageSize = 0x10000;
  bool warningsAsErrors = false;
  /// How often the removal of an old recording is tried again.
  std::uint32_t maxEraseRetries = 2;
};

}  // namespace qvs::k2r
