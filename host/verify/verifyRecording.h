#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/errors.h"
#include "host/verify/Findings.h"

namespace host {

/// What a check of a recording has come to.
struct Verification {
  std::string recording;
  Findings findings;
  /// It ends in the mark of a proper stop.
  bool stopped = false;
  std::uint64_t segments = 0;
  /// Those that an index names and that are there.
  std::uint64_t fragments = 0;
  std::uint64_t tags = 0;
  /// Times of the first and the last tag.
  std::optional<std::uint32_t> firstTime;
  std::optional<std::uint32_t> lastTime;

  ExitStatus status() const;
};

/// Checks the recording in a directory: each file on its own, and all against each other. Changes nothing. Throws
/// CommandError where there is no recording or the directory cannot be read.
Verification verifyRecording(const std::string& path);

}  // namespace host
